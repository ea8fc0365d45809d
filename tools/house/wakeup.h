#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "house/descriptor.h"

namespace house {

/// Wakes a thread that polls `descriptor()`.
class Wakeup {
public:
    Wakeup() : m_event(require(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

    // Fails only when the counter is full, and then the thread is awake already.
    void raise() const noexcept {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t size = ::write(m_event.number(), &one, sizeof one);
    }
    /// Takes back what was raised so far.
    void settle() const {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t size = ::read(m_event.number(), &count, sizeof count);
    }
    /// Waits until @p end, and gives false at once when it is raised.
    bool isQuietUntil(std::chrono::steady_clock::time_point end) const {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::nanoseconds time = std::max(end, now) - now;
        const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
        const timespec limit{static_cast<std::time_t>(seconds.count()),
                             static_cast<long>((time - seconds).count())};
        pollfd wait{m_event.number(), POLLIN, 0};
        return ::ppoll(&wait, 1, &limit, nullptr) == 0;
    }
    int descriptor() const { return m_event.number(); }

private:
    Descriptor m_event;
};

} // namespace house
