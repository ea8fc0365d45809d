#pragma once

#include "inspector/solver/best.h"
#include "inspector/solver/candidates.h"
#include "inspector/solver/reading.h"
#include "model/modbus.h"

#include <string>
#include <vector>

namespace inspector {

/// The displayed value in an order of words or bytes that the daemon can't read, so that no map
/// helps.
struct Unreadable {
    int address = 0;
    /// "input" or "holding".
    std::string space = {};
    /// "little-endian words", "swapped bytes" or "little-endian words with swapped bytes"; or
    /// "signed 16 bits", which the daemon has no decoder for.
    std::string order = {};
    vxModel::ModbusDataType modbusDataType = {};
    int words = 1;
    float scale = 1;
    /// The number of the words in that order, at the last reading.
    float raw = 0;
    double plausibility = 0;
    /// How many of the places that were looked at would show it by chance; far below one.
    double chance = 0;
};

/// Only what is hardly a coincidence, the best first, at most twenty. Of what shares words the best
/// is told.
Ranked<Unreadable> unreadableFor(const Readings& readings);

/// Drops those that share words with an entry that is more plausible.
void dropReadable(std::vector<Unreadable>& unreadable, const std::vector<Candidate>& candidates);

} // namespace inspector
