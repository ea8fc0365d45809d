#pragma once

#include <cstddef>

#include <sys/types.h>

namespace house {

/// What a running process uses, as /proc tells it.
struct ProcessFigures {
    std::size_t residentKilobytes = 0;
    std::size_t descriptors = 0;
    /// Processor time, of the program and of the kernel on its behalf.
    double cpuSeconds = 0.0;

    /// Throws `std::runtime_error` if there is no such process, or it may not be looked at.
    static ProcessFigures of(pid_t pid);
};

} // namespace house
