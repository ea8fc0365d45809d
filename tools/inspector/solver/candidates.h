#pragma once

#include "inspector/solver/best.h"
#include "inspector/solver/reading.h"
#include "inspector/solver/reported.h"
#include "model/modbus.h"

#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// A register entry under which the daemon reports what the display shows.
struct Candidate {
    vxModel::ModbusRegister entry = {};
    /// What it reports, at the last reading.
    Reported reported = {};
    /// The number of the words ahead of the scale, at the last reading.
    float raw = 0;
    /// How unlikely other words would show it too, less what makes the entry unusual; in bits.
    double plausibility = 0;
    /// Other entries that read the same from these words, at each reading.
    std::vector<vxModel::ModbusRegister> alike = {};
};

/// The best first, at most a hundred. The field is @p fieldType, or the usual one of the display's
/// unit. Of one reading each entry is a candidate; of several, those that read the same are one.
Ranked<Candidate> candidatesFor(const Readings& readings,
                                std::optional<vxModel::ModbusFieldType> fieldType = std::nullopt);

} // namespace inspector
