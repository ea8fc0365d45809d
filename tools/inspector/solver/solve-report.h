#pragma once

#include "inspector/output/json-output.h"
#include "inspector/output/terminal.h"
#include "inspector/solver/candidates.h"
#include "inspector/solver/display.h"
#include "inspector/solver/unreadable.h"

#include <string>
#include <vector>

namespace inspector {

/// The entry as it stands in a map.
std::string entryText(const vxModel::ModbusRegister& entry);

void printSolution(Terminal& terminal, const Display& display,
                   const std::vector<Candidate>& candidates,
                   const std::vector<Unreadable>& unreadable);
void writeSolution(JsonOutput& output, const Display& display,
                   const std::vector<Candidate>& candidates,
                   const std::vector<Unreadable>& unreadable);

} // namespace inspector
