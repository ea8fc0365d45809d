#pragma once

#include <cerrno>
#include <system_error>
#include <utility>

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

} // namespace house
