#include "house/own-file.h"

#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace house {

OwnFile::OwnFile(std::string path)
    : m_path(std::move(path)),
      m_file(require(::open(m_path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC), m_path.c_str())) {}

OwnFile::~OwnFile() {
    struct stat own {};
    struct stat present {};
    const bool known =
        ::fstat(m_file.number(), &own) == 0 && ::lstat(m_path.c_str(), &present) == 0;
    if (known && own.st_dev == present.st_dev && own.st_ino == present.st_ino)
        ::unlink(m_path.c_str());
}

} // namespace house
