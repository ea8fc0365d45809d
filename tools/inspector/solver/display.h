#pragma once

#include "model/modbus.h"

#include <optional>
#include <string>

namespace inspector {

/// What a meter's display says.
struct Display {
    /// As it was given.
    std::string text = {};
    /// "W", "kW", "Wh", "kWh" or "MWh"; empty for a serial.
    std::string unit = {};
    /// In watts or kilowatt-hours.
    double value = 0;
    /// One unit of its last digit, in the same.
    double step = 0;

    bool isSerial() const { return unit.empty(); }
    bool isPower() const { return unit == "W" || unit == "kW"; }
    /// A number of the daemon, in watts or kilowatt-hours, in the unit of the display.
    double inUnit(double number) const;
    /// Whether the display could show @p number, be it rounded or cut off.
    bool shows(double number) const;
};

/// Reads a number with a unit, else a serial. A comma counts as decimal point. Throws
/// `std::invalid_argument` for an empty text, a number that isn't finite, and one with an unknown
/// unit or a fraction without one.
Display readDisplay(const std::string& text);

} // namespace inspector
