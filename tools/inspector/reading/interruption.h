#pragma once

#include <atomic>

namespace inspector {

/// Lets Ctrl-C, SIGTERM and a terminal that closes end what is going on at its next step, with what
/// is known by then. A second one ends the program as usual.
void endAtSignals();

/// Whether one of them came.
const std::atomic<bool>& isEnding();

} // namespace inspector
