#include "system-calls.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <sys/random.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

/// The call with 64-bit seconds.
#ifdef SYS_clock_gettime64
constexpr auto clockGetTime = SYS_clock_gettime64;
#else
constexpr auto clockGetTime = SYS_clock_gettime;
#endif

} // namespace

SystemCalls systemCalls;

// The linker lets this program's own code call the one for `syscall` and finds `syscall` under the
// name of the other; the libraries, which wait for their locks by it, aren't touched.
extern "C" long __real_syscall(long number, ...);

extern "C" long __wrap_syscall(long number, ...) {
    if (number == SYS_gettid && systemCalls.threadId != 0)
        return systemCalls.threadId;
    std::array<long, 6> x{};
    va_list arguments;
    va_start(arguments, number);
    for (long& each : x)
        each = va_arg(arguments, long);
    va_end(arguments);
    return __real_syscall(number, x[0], x[1], x[2], x[3], x[4], x[5]);
}

ssize_t plainWrite(int fd, const void* data, std::size_t size) {
    return syscall(SYS_write, fd, data, size);
}

// The linker takes these ahead of the C library's, so they show what the code under test asks of
// the kernel, and let a test answer what a real kernel rarely does.
extern "C" {

int fsync(int fd) {
    const auto result = static_cast<int>(syscall(SYS_fsync, fd));
    if (systemCalls.afterFsync)
        systemCalls.afterFsync(fd);
    return result;
}

ssize_t write(int fd, const void* data, std::size_t size) {
    return systemCalls.write ? systemCalls.write(fd, data, size) : plainWrite(fd, data, size);
}

ssize_t getrandom(void* data, std::size_t size, unsigned flags) {
    if (!systemCalls.getrandom)
        return syscall(SYS_getrandom, data, size, flags);
    const ssize_t result = systemCalls.getrandom(data, size);
    if (result >= 0)
        return result;
    errno = static_cast<int>(-result);
    return -1;
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock == CLOCK_REALTIME && systemCalls.realTime) {
        *time = {*systemCalls.realTime, 0};
        return 0;
    }
    return static_cast<int>(syscall(clockGetTime, clock, time));
}

int gettimeofday(timeval* time, void*) noexcept {
    if (systemCalls.gettimeofdayError != 0) {
        errno = systemCalls.gettimeofdayError;
        return -1;
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return 0;
}
}
