#pragma once

#include "inspector/input/sources.h"

namespace inspector {

struct MapOptions {
    Sources sources;
    bool budget = false;
    bool json = false;
};

/// Checks a map and prints what the daemon will make of it. Returns the exit status: 1 if there are
/// findings. Throws `UnreadableInput`.
int runMap(const MapOptions& options);

} // namespace inspector
