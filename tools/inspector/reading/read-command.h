#pragma once

#include "inspector/input/sources.h"
#include "inspector/reading/bus-options.h"

#include <optional>
#include <string>

namespace inspector {

struct ReadOptions {
    BusOptions bus = {};
    Sources sources = {};
    /// Address of a meter; all that are attached without one.
    std::optional<int> slave = std::nullopt;
    /// Id of its model; that of the list of attached meters, or the only one, without it.
    std::optional<std::string> model = std::nullopt;
    int polls = 1;
    /// New files.
    std::optional<std::string> record = std::nullopt;
    std::optional<std::string> home = std::nullopt;
    bool json = false;
};

/// Reads meters as the daemon would and prints what came of it. Returns the exit status: 1 if a
/// register couldn't be read or a meter has no message. Throws `UnreadableInput` and `BusError`.
int runRead(const ReadOptions& options);

} // namespace inspector
