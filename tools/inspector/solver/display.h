#pragma once

#include <string>
#include <utility>

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
    /// Whether the display could show the serial of a meter that fills its last word with a blank.
    bool showsSerial(const std::string& serial) const;
    /// The least and the most that a number without its sign may be then.
    std::pair<double, double> sizes() const;
    /// Whether what it shows could be the value of the same register.
    bool isAlike(const Display& other) const {
        return isSerial() == other.isSerial() && isPower() == other.isPower();
    }
};

/// Reads a number with a unit, else a serial. A comma counts as decimal point. Throws
/// `std::invalid_argument` for an empty text, a number that isn't finite or whose digits are in
/// groups, and one with an unknown unit or a fraction without one.
Display readDisplay(const std::string& text);

/// Takes any text for a serial but an empty one, which it throws for.
Display serialOnDisplay(const std::string& text);

} // namespace inspector
