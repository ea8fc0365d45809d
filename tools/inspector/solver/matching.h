#pragma once

#include "inspector/solver/display.h"
#include "model/modbus.h"

#include <vector>

namespace inspector {

/// A scale that takes a number to what the display shows.
struct Match {
    float scale = 1;
    /// What the daemon reports, in watts or kilowatt-hours.
    double value = 0;
    /// How unlikely other words would show it too, less what makes the scale unusual; in bits.
    double plausibility = 0;
};

/// Tries the scales that meters use: powers of ten, halves and fifths of them, and what takes
/// seconds or megajoules to hours.
std::vector<Match> matchesOf(const Display& display, vxModel::ModbusFieldType fieldType,
                             vxModel::ModbusDataType dataType, float raw);

/// What the daemon makes of a number, in watts or kilowatt-hours.
double reportedNumber(vxModel::ModbusFieldType fieldType, float raw, float scale);

} // namespace inspector
