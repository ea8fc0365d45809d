#pragma once

#include "inspector/reading/bus-options.h"

#include <chrono>

namespace inspector {

struct ScanOptions {
    BusOptions bus = {};
    int firstAddress = 1;
    int lastAddress = 247;
    /// At the five rates and three parities instead of those of the bus.
    bool allLines = false;
    bool json = false;
};

/// Finds what answers on a bus. Ctrl-C ends it with what is known by then. Returns the exit status:
/// 1 if nothing answered, an answer was garbled or it was ended. Throws `BusError`.
int runScan(const ScanOptions& options);

} // namespace inspector
