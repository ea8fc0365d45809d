#pragma once

#include "inspector/solver/candidates.h"
#include "inspector/solver/display.h"
#include "inspector/solver/unreadable.h"

#include <string>

namespace inspector {

/// Single precision has no more digits than seven to tell.
double asWritten(double value);

/// Why an entry is proposed, and what its scale does to the sign.
std::string reasonOf(const Display& display, const Candidate& candidate);

/// What would be read there if the daemon could, and whether it may be a coincidence.
std::string reasonOf(const Display& display, const Unreadable& unreadable);

/// In the unit of the display.
double valueOf(const Display& display, const Unreadable& unreadable);

} // namespace inspector
