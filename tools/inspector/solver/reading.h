#pragma once

#include "inspector/solver/display.h"
#include "inspector/solver/word-spaces.h"

#include <vector>

namespace inspector {

/// What a display showed, and the words that the meter had at that time.
struct Reading {
    Display display = {};
    WordSpaces words = {};
};

/// One, or several with some time between them: all show power, all energy, or all the serial.
using Readings = std::vector<Reading>;

} // namespace inspector
