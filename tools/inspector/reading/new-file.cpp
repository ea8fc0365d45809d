#include "inspector/reading/new-file.h"

#include "inspector/input/sources.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace inspector {
namespace {

[[noreturn]] void fail(const std::string& name) {
    throw UnreadableInput(name + ": " + std::strerror(errno));
}

std::FILE* make(const std::string& name) {
    std::FILE* const file = std::fopen(name.c_str(), "wxe");
    if (file == nullptr)
        fail(name);
    return file;
}

} // namespace

NewFile::NewFile(std::optional<std::string> name, Existing existing) {
    if (!name)
        return;
    m_name = std::move(*name);
    struct stat status {};
    if (existing == Existing::replaced && stat(m_name.c_str(), &status) == 0)
        makeBeside(status.st_mode);
    else
        makeInPlace();
}

void NewFile::makeInPlace() {
    m_file.reset(make(m_name));
    m_written = m_name;
}

void NewFile::makeBeside(mode_t replaced) {
    if (!S_ISREG(replaced))
        throw UnreadableInput(m_name + ": no regular file, so it isn't replaced");
    if (access(m_name.c_str(), W_OK) != 0)
        fail(m_name);
    // A link stays one.
    m_name = std::filesystem::canonical(m_name);
    const std::string beside = m_name + ".new";
    m_file.reset(make(beside));
    m_written = beside;
    // Who may not read the old one may not read this one either.
    fchmod(fileno(m_file.get()), replaced);
}

NewFile::~NewFile() {
    if (!m_written.empty())
        unlink(m_written.c_str());
}

void NewFile::keep() {
    if (!m_file)
        return;
    const bool isWhole = std::ferror(file()) == 0 && std::fflush(file()) == 0;
    if (!isWhole || std::rename(m_written.c_str(), m_name.c_str()) != 0)
        fail(m_name);
    m_written.clear();
    m_file.reset();
}

} // namespace inspector
