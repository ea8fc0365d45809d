#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace inspector {

/// A file that must not be there yet. It is made at once, so that no work is lost in the end, and
/// removed again if the work comes to nothing. Without a name it takes what is written and forgets
/// it.
class NewFile {
public:
    /// Throws `UnreadableInput` if it exists or can't be made.
    explicit NewFile(std::optional<std::string> name);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    std::FILE* file() const { return m_file; }
    /// The file is whole and stays. Throws `UnreadableInput` if it couldn't be written.
    void keep();

private:
    std::optional<std::string> m_name;
    std::FILE* m_file;
    bool m_isKept = false;
};

} // namespace inspector
