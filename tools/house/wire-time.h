#pragma once

#include <chrono>
#include <cstddef>

namespace house {

/// How long bytes are on a serial line. A pseudo terminal brings them at once.
class WireTime {
public:
    using Duration = std::chrono::nanoseconds;

    /// No time at all.
    WireTime() = default;
    /// At @p baud bits a second, where a byte goes with its start bit, eight data bits, the parity
    /// bit, if there is one, and its stop bits.
    WireTime(int baud, bool hasParity, int stopBits);

    /// From the first bit of a request to the last one of an answer to it with so many bytes, which
    /// comes as soon as Modbus allows.
    Duration ofExchange(std::size_t requestBytes, std::size_t answerBytes) const;

private:
    Duration m_byte{0};
    /// That tells one frame from the next.
    Duration m_silence{0};
};

} // namespace house
