#include "mutant.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mutants {

int active = 0;
unsigned char* reached = nullptr;

namespace {

/// The file has its size already. A child process writes to the same one.
void mapReached(const char* name) {
    const int fd = open(name, O_RDWR | O_CLOEXEC);
    struct stat status {};
    if (fd == -1 || fstat(fd, &status) == -1)
        std::abort();
    void* bytes = mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ | PROT_WRITE,
                       MAP_SHARED, fd, 0);
    if (bytes == MAP_FAILED)
        std::abort();
    reached = static_cast<unsigned char*>(bytes);
    close(fd);
}

/// Ahead of all static objects, which may have mutants.
[[gnu::constructor(101)]] void readEnvironment() {
    if (const char* number = std::getenv("MUTANT"))
        active = std::atoi(number);
    if (const char* name = std::getenv("MUTANT_REACHED"))
        mapReached(name);
}

} // namespace
} // namespace mutants
