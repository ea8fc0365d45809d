#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace inspector {

/// A file that must not be there yet, unless it is to be replaced. What is written is kept in
/// memory until it is whole, so that nothing is left of what came to nothing. Without a name it
/// forgets what is written.
class NewFile {
public:
    enum class Existing { refused, replaced };

    /// Throws `UnreadableInput` if it exists or can't be made, so that no work is lost in the end.
    /// Only a regular file is replaced.
    explicit NewFile(std::optional<std::string> name, Existing existing = Existing::refused);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    std::FILE* file() const { return m_file.get(); }
    /// Makes the file. Throws `UnreadableInput` if it can't be written.
    void keep();

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    struct Free {
        void operator()(char** text) const { std::free(*text); }
    };

    std::optional<std::string> m_name;
    /// Whether it was there before.
    bool m_replaces = false;
    char* m_text = nullptr;
    std::size_t m_size = 0;
    // The text is the file's until that is closed.
    std::unique_ptr<char*, Free> m_textOwner;
    std::unique_ptr<std::FILE, Close> m_file;
};

} // namespace inspector
