#include "inspector/reading/new-file.h"

#include "inspector/input/sources.h"

#include <cerrno>
#include <cstring>
#include <new>
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

} // namespace

NewFile::NewFile(std::optional<std::string> name)
    : m_name(std::move(name)), m_textOwner(&m_text), m_file(open_memstream(&m_text, &m_size)) {
    if (!m_file)
        throw std::bad_alloc();
    if (!m_name)
        return;
    std::fclose(make(*m_name));
    unlink(m_name->c_str());
}

void NewFile::keep() {
    if (!m_name)
        return;
    std::fflush(file());
    std::FILE* made = make(*m_name);
    const bool isWhole = std::fwrite(m_text, 1, m_size, made) == m_size;
    if (std::fclose(made) == 0 && isWhole)
        return;
    const int reason = errno;
    unlink(m_name->c_str());
    errno = reason;
    fail(*m_name);
}

} // namespace inspector
