#pragma once

#include "inspector/live/live-home.h"
#include "inspector/report/summary.h"

#include <string>
#include <vector>

// What a report tells of a log, while the log grows.

namespace inspector {

/// Those of the meters that there are at present and of all others, the last one first.
std::vector<Notice> noticesOf(const HomeView& view);

/// What it is and where, in one line.
std::string headOf(const Notice& notice);

/// What may have to be done so that the log shows more, in a sentence each.
std::vector<std::string> hintsOf(const HomeView& view);

} // namespace inspector
