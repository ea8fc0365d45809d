#pragma once

#include "inspector/solver/display.h"
#include "inspector/solver/word-spaces.h"
#include "model/modbus.h"

#include <string>
#include <vector>

namespace inspector {

/// The displayed value in an order of words or bytes that the daemon can't read, so that no map
/// helps.
struct Unreadable {
    bool operator==(const Unreadable&) const = default;

    int address = 0;
    /// "input" or "holding".
    std::string space = {};
    /// "little-endian words", "swapped bytes" or "little-endian words with swapped bytes"; or
    /// "signed 16 bits", which the daemon has no decoder for.
    std::string order = {};
    vxModel::ModbusDataType modbusDataType = {};
    float scale = 1;
};

/// Only what hardly any other words would show too.
std::vector<Unreadable> unreadableFor(const Display& display, const WordSpaces& spaces);

} // namespace inspector
