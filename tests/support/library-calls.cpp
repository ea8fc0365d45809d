#include "support/library-calls.h"

#include <cerrno>
#include <iconv.h>
#include <unistd.h>

LibraryCalls libraryCalls;

namespace {

bool isUnobtainable(std::size_t size) {
    return size != 0 && size == libraryCalls.unobtainableSize;
}

} // namespace

// The linker lets this program's own code call `__wrap_x` for `x`, and finds `x` as `__real_x`.
extern "C" {

int __real_access(const char* path, int mode);
int __real_fsync(int fd);
std::size_t __real_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                         std::size_t* outLeft);
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
unsigned __real_sleep(unsigned seconds);
int __real_usleep(useconds_t microseconds);

int __wrap_access(const char* path, int mode) {
    if (libraryCalls.beforeAccess)
        libraryCalls.beforeAccess(path, mode);
    return __real_access(path, mode);
}

int __wrap_fsync(int fd) {
    if (libraryCalls.beforeFsync)
        libraryCalls.beforeFsync(fd);
    return __real_fsync(fd);
}

std::size_t __wrap_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                         std::size_t* outLeft) {
    if (libraryCalls.beforeIconv)
        libraryCalls.beforeIconv();
    if (libraryCalls.iconvError == 0)
        return __real_iconv(handle, in, inLeft, out, outLeft);
    errno = libraryCalls.iconvError;
    return static_cast<std::size_t>(-1);
}

void* __wrap_malloc(std::size_t size) {
    return isUnobtainable(size) ? nullptr : __real_malloc(size);
}

void* __wrap_realloc(void* memory, std::size_t size) {
    return isUnobtainable(size) ? nullptr : __real_realloc(memory, size);
}

unsigned __wrap_sleep(unsigned seconds) {
    if (libraryCalls.beforeSleep)
        libraryCalls.beforeSleep(seconds);
    return __real_sleep(seconds);
}

int __wrap_usleep(useconds_t microseconds) {
    if (libraryCalls.beforeUsleep)
        libraryCalls.beforeUsleep(microseconds);
    return __real_usleep(microseconds);
}
}
