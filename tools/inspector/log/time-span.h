#pragma once

#include <cstdint>
#include <optional>

namespace inspector {

/// The part of a log that is wanted, in milliseconds since the epoch: from the one moment on and up
/// to the other, which is no part of it.
struct TimeSpan {
    std::optional<std::int64_t> since = std::nullopt;
    std::optional<std::int64_t> until = std::nullopt;

    bool isAll() const { return !since && !until; }
    bool has(std::int64_t time) const {
        return time >= since.value_or(time) && (!until || time < *until);
    }
};

} // namespace inspector
