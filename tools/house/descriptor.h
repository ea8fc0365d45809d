#pragma once

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace house {

/// Throws the `std::system_error` of the present errno when @p result is negative.
inline int require(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

/// A file descriptor that is closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        close();
        m_number = std::exchange(other.m_number, -1);
        return *this;
    }

    int number() const { return m_number; }

private:
    void close() const {
        if (m_number >= 0)
            ::close(m_number);
    }

    int m_number;
};

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
