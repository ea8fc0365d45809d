#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>

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

/// Figures of a reader at the beginning of each poll, where it does the same every time.
class PollFigures {
public:
    /// The process to look at; the polls before count, but leave no figures.
    void takeFrom(pid_t pid);

    /// Told by the first request of a poll, from any thread. A process that is being ended leaves
    /// no figures.
    void pollBegins();

    /// Number of polls begun.
    int poll() const;

    /// Throws `std::out_of_range` if there are none of this poll, counted from 1.
    ProcessFigures at(int poll) const;

private:
    mutable std::mutex m_mutex;
    std::atomic<pid_t> m_pid = 0;
    std::atomic<int> m_poll = 0;
    std::map<int, ProcessFigures> m_figures;
};

} // namespace house
