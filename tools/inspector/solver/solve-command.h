#pragma once

#include "model/modbus.h"

#include <optional>
#include <string>

namespace inspector {

struct SolveOptions {
    std::string display;
    std::string words;
    /// Of a second reading; both or none.
    std::optional<std::string> again = std::nullopt;
    std::optional<std::string> wordsAgain = std::nullopt;
    std::optional<vxModel::ModbusFieldType> fieldType = std::nullopt;
    bool json = false;
};

/// Finds the register entries under which the daemon reports what a display shows, and prints them.
/// Returns the exit status: 1 if there is none. Throws `UnreadableInput`.
int runSolve(const SolveOptions& options);

} // namespace inspector
