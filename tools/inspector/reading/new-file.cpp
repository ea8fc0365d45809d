#include "inspector/reading/new-file.h"

#include "inspector/input/sources.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace inspector {
namespace {

[[noreturn]] void fail(const std::string& name) {
    throw UnreadableInput(name + ": " + std::strerror(errno));
}

std::FILE* make(const std::string& name) {
    std::FILE* file = std::fopen(name.c_str(), "wxe");
    if (file == nullptr)
        fail(name);
    return file;
}

std::FILE* empty(const std::string& name) {
    std::FILE* file = std::fopen(name.c_str(), "we");
    if (file == nullptr)
        fail(name);
    return file;
}

/// Whether there is such a file. Throws if it is none that can be written again.
bool canReplace(const std::string& name) {
    struct stat status {};
    if (stat(name.c_str(), &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        throw UnreadableInput(name + ": no regular file, so it isn't replaced");
    if (access(name.c_str(), W_OK) != 0)
        fail(name);
    return true;
}

} // namespace

NewFile::NewFile(std::optional<std::string> name, Existing existing)
    : m_name(std::move(name)), m_textOwner(&m_text), m_file(open_memstream(&m_text, &m_size)) {
    if (!m_file)
        throw std::bad_alloc();
    if (!m_name)
        return;
    m_replaces = existing == Existing::replaced && canReplace(*m_name);
    if (m_replaces)
        return;
    std::fclose(make(*m_name));
    unlink(m_name->c_str());
}

void NewFile::keep() {
    if (!m_name)
        return;
    std::fflush(file());
    std::FILE* made = m_replaces ? empty(*m_name) : make(*m_name);
    const bool isWhole = std::fwrite(m_text, 1, m_size, made) == m_size;
    if (std::fclose(made) == 0 && isWhole)
        return;
    const int reason = errno;
    unlink(m_name->c_str());
    errno = reason;
    fail(*m_name);
}

} // namespace inspector
