#pragma once

#include "inspector/reading/bus-options.h"
#include "inspector/reading/word-range.h"
#include "model/modbus.h"

#include <optional>
#include <string>

namespace inspector {

struct SolveOptions {
    std::string display;
    /// Files.
    std::optional<std::string> words = std::nullopt;
    /// Of a second reading.
    std::optional<std::string> again = std::nullopt;
    std::optional<std::string> wordsAgain = std::nullopt;
    /// Where the words are read now for which there is no file.
    BusOptions bus = {};
    WordRange range = {};
    /// New file for what was read.
    std::optional<std::string> keep = std::nullopt;
    std::optional<vxModel::ModbusFieldType> fieldType = std::nullopt;
    bool json = false;
};

/// Finds the register entries under which the daemon reports what a display shows, and prints them.
/// Returns the exit status: 1 if there is none. Throws `UnreadableInput` and `BusError`.
int runSolve(const SolveOptions& options);

} // namespace inspector
