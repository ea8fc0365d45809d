#pragma once

#include "inspector/home/diagnostics.h"
#include "inspector/live/live-home.h"
#include "inspector/output/json-output.h"

namespace inspector {

/// Members of an object that is open: the notices of a home, or the last of very many, and the
/// hints.
void writeNotices(JsonOutput& json, const HomeView& view);

/// Members of an object that is open: what a trouble means, and what to do.
void writeExplanation(JsonOutput& json, const Explanation& explanation);

/// Members of an object that is open: how often something was seen, and when.
void writeSeen(JsonOutput& json, const Occurrences& seen, Moment now);

} // namespace inspector
