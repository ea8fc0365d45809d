#include "inspector/reading/new-file.h"

#include "inspector/input/sources.h"

#include <cerrno>
#include <cstring>

namespace inspector {

NewFile::NewFile(const std::optional<std::string>& name)
    : m_file(name ? std::fopen(name->c_str(), "wxe") : std::fopen("/dev/null", "we")) {
    if (!m_file)
        throw UnreadableInput(name.value_or("/dev/null") + ": " + std::strerror(errno));
}

} // namespace inspector
