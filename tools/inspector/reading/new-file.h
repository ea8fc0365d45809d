#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace inspector {

/// A file that must not be there yet. What is written is kept in memory until it is whole, so that
/// nothing is left of what came to nothing. Without a name it forgets what is written.
class NewFile {
public:
    /// Throws `UnreadableInput` if it exists or can't be made, so that no work is lost in the end.
    explicit NewFile(std::optional<std::string> name);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    std::FILE* file() const { return m_file; }
    /// Makes the file. Throws `UnreadableInput` if it can't be written.
    void keep();

private:
    std::optional<std::string> m_name;
    char* m_text = nullptr;
    std::size_t m_size = 0;
    std::FILE* m_file;
};

} // namespace inspector
