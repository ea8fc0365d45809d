#pragma once

#include <cstdint>

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
    int descriptor() const { return m_event.number(); }

private:
    Descriptor m_event;
};

} // namespace house
