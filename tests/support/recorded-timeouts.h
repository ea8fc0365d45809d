#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Every time-out that this process gave to the Modbus library, in order. The calls go on to the
/// library.
namespace recorded_timeouts {

struct Call {
    /// "response" or "indication".
    std::string kind;
    std::uint32_t seconds;
    std::uint32_t microseconds;

    bool operator==(const Call&) const = default;
};

std::vector<Call> take();

} // namespace recorded_timeouts
