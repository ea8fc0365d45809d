#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace inspector {

/// A register as many descriptions number it: the space as first digit, then four or five digits,
/// counted from 1.
struct Notation {
    /// "input" or "holding".
    std::string space;
    /// On the wire.
    std::int64_t address;
};

/// Nothing for a number that doesn't look like it.
std::optional<Notation> notationOf(std::int64_t number);

} // namespace inspector
