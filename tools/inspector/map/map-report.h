#pragma once

#include "inspector/budget/poll-budget.h"
#include "inspector/input/installation.h"
#include "inspector/output/finding.h"
#include "inspector/output/json-output.h"
#include "inspector/output/terminal.h"

namespace inspector {

/// A table of the registers of each model, in the order of reading.
void printModels(Terminal& terminal, const Installation& installation);
/// The worst first.
void printFindings(Terminal& terminal, const Findings& findings);
void printBudget(Terminal& terminal, const PollBudget& budget);

void writeMap(JsonOutput& output, const Installation& installation, const Findings& findings,
              const PollBudget& budget);

} // namespace inspector
