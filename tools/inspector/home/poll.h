#pragma once

#include "inspector/home/home.h"

#include <optional>
#include <vector>

namespace inspector {

/// A failed read of a register.
struct FailedRead {
    FailureKind kind;
    Moment time = 0;
    /// The address of the meter, if the log tells.
    std::optional<int> slaveAddress = std::nullopt;
};

/// What the log showed of one poll.
struct Poll {
    std::vector<FailedRead> failures = {};
    std::vector<LoggedReading> readings = {};
    /// The addresses of the meters that were read; unset if the log doesn't tell.
    std::optional<std::vector<int>> addresses = std::nullopt;
    /// Messages of the poll are unknown, though there may have been some. Where the addresses are
    /// known, the readings are all the same.
    bool isBlind = false;
    /// Of its last line.
    Moment end = 0;
    /// Some register was read.
    bool hasValues = false;
    /// The log lacks its begin or its end, so it doesn't count.
    bool isPart = false;
};

} // namespace inspector
