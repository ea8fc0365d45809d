#pragma once

#include <cstddef>
#include <ctime>
#include <functional>
#include <optional>
#include <sys/types.h>

/// What the C library's functions of these names do in this test program, as long as one is set.
/// They are process-wide; a test resets what it set with `SystemCallsReset`.
struct SystemCalls {
    std::function<void(int fd)> afterFsync;
    /// Answer to a `write`, which happens as asked if there is none.
    std::function<ssize_t(int fd, const void* data, std::size_t size)> write;
    /// Answer to a `getrandom`; a negative one is the negative `errno`.
    std::function<ssize_t(void* data, std::size_t size)> getrandom;
    /// Seconds that `clock_gettime` tells for the real-time clock.
    std::optional<std::time_t> realTime;
    /// Answer to a `syscall` of SYS_gettid in this program's own code, 0 for the kernel's.
    long threadId = 0;
    /// `errno` of a failing `gettimeofday`, 0 for none.
    int gettimeofdayError = 0;
};

extern SystemCalls systemCalls;

/// Gives the process its own calls back at the end of the scope.
struct SystemCallsReset {
    SystemCallsReset() = default;
    ~SystemCallsReset() { systemCalls = {}; }
    SystemCallsReset(const SystemCallsReset&) = delete;
    SystemCallsReset& operator=(const SystemCallsReset&) = delete;
};

/// The kernel's own `write`.
ssize_t plainWrite(int fd, const void* data, std::size_t size);
