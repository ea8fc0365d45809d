#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

namespace inspector {

/// A file that must not be there yet, unless it is to be replaced. It grows as it is written; if it
/// comes to nothing, nothing is left of it, and the one that it was to replace is as it was.
/// Without a name there is none.
class NewFile {
public:
    enum class Existing { refused, replaced };

    /// Throws `UnreadableInput` if it exists or can't be made, so that no work is lost in the end.
    /// Only a regular file is replaced.
    explicit NewFile(std::optional<std::string> name, Existing existing = Existing::refused);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Null without a name.
    std::FILE* file() const { return m_file.get(); }
    /// Ends the file, which is whole. Throws `UnreadableInput` if it can't be written.
    void keep();

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void makeInPlace();
    void makeBeside(mode_t replaced);

    std::string m_name;
    /// Where it is written: beside the one that it replaces, or in its place. Empty when it is
    /// kept.
    std::string m_written;
    std::unique_ptr<std::FILE, Close> m_file;
};

} // namespace inspector
