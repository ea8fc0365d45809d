#include "inspector/reading/new-file.h"

#include "inspector/input/sources.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace inspector {

NewFile::NewFile(std::optional<std::string> name)
    : m_name(std::move(name)),
      m_file(m_name ? std::fopen(m_name->c_str(), "wxe") : std::fopen("/dev/null", "we")) {
    if (m_file == nullptr)
        throw UnreadableInput(m_name.value_or("/dev/null") + ": " + std::strerror(errno));
}

NewFile::~NewFile() {
    std::fclose(m_file);
    if (m_name && !m_isKept)
        unlink(m_name->c_str());
}

void NewFile::keep() {
    if (std::fflush(m_file) != 0 || std::ferror(m_file) != 0)
        throw UnreadableInput(m_name.value_or("/dev/null") + ": " + std::strerror(errno));
    m_isKept = true;
}

} // namespace inspector
