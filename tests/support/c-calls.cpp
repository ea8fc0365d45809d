#include "support/c-calls.h"

#include <array>
#include <cstdarg>
#include <sys/syscall.h>

// The names of the C library where its times have 64 bits though its words have 32.
#if __SIZEOF_POINTER__ == 4
#define CLOCK_GETTIME __clock_gettime64
#define GETTIMEOFDAY __gettimeofday64
#define IOCTL __ioctl_time64
#else
#define CLOCK_GETTIME clock_gettime
#define GETTIMEOFDAY gettimeofday
#define IOCTL ioctl
#endif

#define JOINED(prefix, name) JOINED_1(prefix, name)
#define JOINED_1(prefix, name) prefix##name
#define REAL(name) JOINED(__real_, name)
#define WRAP(name) JOINED(__wrap_, name)

extern "C" {

int __real_access(const char* path, int mode);
int REAL(CLOCK_GETTIME)(clockid_t clock, timespec* time);
int __real_fsync(int fd);
ssize_t __real_getrandom(void* data, std::size_t size, unsigned flags);
int REAL(GETTIMEOFDAY)(timeval* time, void* zone);
std::size_t __real_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                         std::size_t* outLeft);
int REAL(IOCTL)(int fd, unsigned long request, ...);
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
unsigned __real_sleep(unsigned seconds);
int __real_socket(int domain, int type, int protocol);
long __real_syscall(long number, ...);
int __real_usleep(useconds_t microseconds);
ssize_t __real_write(int fd, const void* data, std::size_t size);
}

namespace c_calls {
namespace {

int realIoctl(int fd, unsigned long request, void* argument) {
    return REAL(IOCTL)(fd, request, argument);
}

long realGettid() {
    return __real_syscall(SYS_gettid);
}

} // namespace

constinit decltype(access) access(__real_access);
constinit decltype(clock_gettime) clock_gettime(REAL(CLOCK_GETTIME));
constinit decltype(fsync) fsync(__real_fsync);
constinit decltype(getrandom) getrandom(__real_getrandom);
constinit decltype(gettimeofday) gettimeofday(REAL(GETTIMEOFDAY));
constinit decltype(iconv) iconv(__real_iconv);
constinit decltype(ioctl) ioctl(realIoctl);
constinit decltype(malloc) malloc(__real_malloc);
constinit decltype(realloc) realloc(__real_realloc);
constinit decltype(sleep) sleep(__real_sleep);
constinit decltype(socket) socket(__real_socket);
constinit decltype(gettid) gettid(realGettid);
constinit decltype(usleep) usleep(__real_usleep);
constinit decltype(write) write(__real_write);

UnobtainableSize::UnobtainableSize(std::size_t size)
    : m_malloc(malloc.replaceBy(
          [size](std::size_t asked) { return asked == size ? nullptr : malloc.real(asked); })),
      m_realloc(realloc.replaceBy([size](void* memory, std::size_t asked) {
          return asked == size ? nullptr : realloc.real(memory, asked);
      })) {}

} // namespace c_calls

extern "C" {

int __wrap_access(const char* path, int mode) {
    return c_calls::access(path, mode);
}

int WRAP(CLOCK_GETTIME)(clockid_t clock, timespec* time) {
    return c_calls::clock_gettime(clock, time);
}

int __wrap_fsync(int fd) {
    return c_calls::fsync(fd);
}

ssize_t __wrap_getrandom(void* data, std::size_t size, unsigned flags) {
    return c_calls::getrandom(data, size, flags);
}

int WRAP(GETTIMEOFDAY)(timeval* time, void* zone) {
    return c_calls::gettimeofday(time, zone);
}

std::size_t __wrap_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                         std::size_t* outLeft) {
    return c_calls::iconv(handle, in, inLeft, out, outLeft);
}

int WRAP(IOCTL)(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return c_calls::ioctl(fd, request, argument);
}

void* __wrap_malloc(std::size_t size) {
    return c_calls::malloc(size);
}

void* __wrap_realloc(void* memory, std::size_t size) {
    return c_calls::realloc(memory, size);
}

unsigned __wrap_sleep(unsigned seconds) {
    return c_calls::sleep(seconds);
}

int __wrap_socket(int domain, int type, int protocol) {
    return c_calls::socket(domain, type, protocol);
}

long __wrap_syscall(long number, ...) {
    if (number == SYS_gettid)
        return c_calls::gettid();
    std::array<long, 6> x{};
    va_list arguments;
    va_start(arguments, number);
    for (long& each : x)
        each = va_arg(arguments, long);
    va_end(arguments);
    return __real_syscall(number, x[0], x[1], x[2], x[3], x[4], x[5]);
}

int __wrap_usleep(useconds_t microseconds) {
    return c_calls::usleep(microseconds);
}

ssize_t __wrap_write(int fd, const void* data, std::size_t size) {
    return c_calls::write(fd, data, size);
}
}
