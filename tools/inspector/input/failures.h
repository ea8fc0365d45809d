#pragma once

#include "inspector/daemon/shape.h"

#include <string>
#include <vector>

namespace inspector {

/// A value that the daemon can't convert.
struct Failure {
    /// To the value.
    std::string pointer;
    /// The daemon's own message.
    std::string reason;
    /// What to do about it: a sentence.
    std::string remedy;
};

/// The innermost values that don't convert, in order, of one that stands at @p pointer. The daemon
/// stops at the first.
std::vector<Failure> failuresOf(json_object* json, const Shape& shape, const std::string& pointer);

} // namespace inspector
