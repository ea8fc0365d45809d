#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace inspector {

/// A file that must not be there yet; without a name it takes what is written and forgets it.
class NewFile {
public:
    /// Throws `UnreadableInput` if it exists or can't be made.
    explicit NewFile(const std::optional<std::string>& name);

    std::FILE* file() const { return m_file.get(); }
    void write(const std::string& text) { std::fputs(text.c_str(), file()); }

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> m_file;
};

} // namespace inspector
