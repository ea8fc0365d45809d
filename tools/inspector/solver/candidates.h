#pragma once

#include "inspector/solver/display.h"
#include "inspector/solver/word-spaces.h"
#include "model/modbus.h"

#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// A register entry under which the daemon reports what the display shows.
struct Candidate {
    vxModel::ModbusRegister entry = {};
    /// Of the daemon, in the unit of the display; or the serial.
    double value = 0;
    std::string serial = {};
    /// The number of the words ahead of the scale, or their text.
    std::string raw = {};
    /// How unlikely other words would show it too, less what makes the entry unusual; in bits.
    double plausibility = 0;
    /// Other types that read the same from these words.
    std::vector<vxModel::ModbusRegister> alike = {};
};

/// The best first. The field is @p fieldType, or the usual one of the display's unit.
std::vector<Candidate> candidatesFor(const Display& display, const WordSpaces& spaces,
                                     std::optional<vxModel::ModbusFieldType> fieldType);

/// Those of @p earlier that fit a later reading of the same registers too. Entries that read the
/// same number both times are one, with the others beside it.
std::vector<Candidate> stillFitting(const std::vector<Candidate>& earlier, const Display& display,
                                    const WordSpaces& spaces);

} // namespace inspector
