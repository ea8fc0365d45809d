#pragma once

#include "inspector/output/finding.h"
#include "vx/enum-table.h"

#include <string_view>

namespace inspector {

/// What comes of the value 0, which the daemon takes for a name that it doesn't know.
struct ZeroName {
    Severity severity;
    /// The rest of a sentence.
    std::string_view text;
};

/// That of a serial parameter, on a serial line.
inline constexpr std::string_view noSerialLine = "it opens no serial line, and all reads fail";

/// @p meant is the name that was meant by the unknown one; empty if nobody knows.
ZeroName effectOfZero(const vx::EnumTable& table, std::string_view meant);

} // namespace inspector
