#pragma once

#include "inspector/output/json-output.h"
#include "inspector/output/terminal.h"
#include "inspector/solver/candidates.h"
#include "inspector/solver/display.h"
#include "inspector/solver/unreadable.h"

namespace inspector {

struct Solution {
    /// What it shows last.
    Display display;
    Ranked<Candidate> candidates;
    Ranked<Unreadable> unreadable;
};

void printSolution(Terminal& terminal, const Solution& solution);
void writeSolution(JsonOutput& output, const Solution& solution);

} // namespace inspector
