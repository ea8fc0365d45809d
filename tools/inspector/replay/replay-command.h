#pragma once

#include "inspector/replay/run-recorder.h"

#include <cstddef>
#include <optional>
#include <string>

namespace inspector {

struct ReplayOptions {
    /// A file, or "-" for standard input.
    std::string log;
    /// A file, or "-" for standard output.
    std::string output;
    /// Replaces a file that is there.
    bool force = false;
    /// Which run of the daemon; without it that with the most polls.
    std::optional<std::size_t> run = std::nullopt;
    /// Of all polls.
    TimeSpan span = {};
};

/// Makes a home for the house of a log. Throws `UnreadableInput`.
int runReplay(const ReplayOptions& options);

} // namespace inspector
