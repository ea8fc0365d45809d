#include "inspector/solver/display.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <string_view>
#include <strings.h>

namespace inspector {
namespace {

struct Unit {
    std::string_view name;
    /// To watts or kilowatt-hours.
    double factor;
};

constexpr std::array units = {Unit{"W", 1}, Unit{"kW", 1000}, Unit{"Wh", 0.001}, Unit{"kWh", 1},
                              Unit{"MWh", 1000}};

double factorOf(std::string_view name) {
    return std::find_if(units.begin(), units.end(), [&](const Unit& x) { return x.name == name; })
        ->factor;
}

/// Whether it is one but for small and capital letters.
bool isNearlyUnit(const std::string& name) {
    return std::any_of(units.begin(), units.end(),
                       [&](const Unit& x) { return strcasecmp(name.c_str(), x.name.data()) == 0; });
}

/// Whether a text that begins with a number of @p size characters is no serial, which has neither a
/// point nor a word behind it, nor ends as a unit does.
bool looksLikeValue(const std::string& text, std::size_t size) {
    return text.find(' ', size) != std::string::npos || isNearlyUnit(text.substr(size)) ||
           text.substr(0, size).find_first_of(".,") != std::string::npos ||
           (size < text.size() && (text[size] == '.' || text[size] == ','));
}

/// Whether it is a number to a person: to the library "inf" and "nan" are some too.
bool beginsWithDigits(std::string_view text) {
    const std::size_t sign = text.starts_with('+') || text.starts_with('-') ? 1 : 0;
    return text.find_first_of(".0123456789") == sign;
}

/// Whether behind a number more digits follow, and at last a unit.
bool hasGroups(const std::string& rest) {
    const std::size_t end = rest.find_first_not_of(" .,'0123456789");
    return end != std::string::npos && end > 1 && rest.find_first_of(" .,'") == 0 &&
           rest.find_first_of("0123456789") < end &&
           std::any_of(units.begin(), units.end(),
                       [&](const Unit& x) { return rest.substr(end) == x.name; });
}

} // namespace

double Display::inUnit(double number) const {
    return number / factorOf(unit);
}

std::pair<double, double> Display::sizes() const {
    // Single precision leaves seven digits, and each of the daemon's multiplications rounds.
    constexpr double precision = 3e-7;
    const double size = std::abs(value);
    const double slack = size * precision;
    return {size - step / 2 - slack, size + step + slack};
}

bool Display::shows(double number) const {
    const auto [least, most] = sizes();
    const double size = std::abs(number);
    const bool hasSign = number == 0 || value == 0 || (number < 0) == (value < 0);
    return hasSign && size >= least && size < most;
}

bool Display::showsSerial(const std::string& serial) const {
    return serial == text || serial == text + " ";
}

Display serialOnDisplay(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string::npos)
        throw std::invalid_argument("The display shows nothing");
    return {.text = text.substr(begin, text.find_last_not_of(' ') + 1 - begin)};
}

Display readDisplay(const std::string& text) {
    Display display = serialOnDisplay(text);
    const std::string trimmed = display.text;
    std::string number = trimmed;
    std::replace(number.begin(), number.end(), ',', '.');
    if (!beginsWithDigits(number))
        return display;
    const char* const start = number.data() + (number.starts_with('+') ? 1 : 0);
    const auto [rest, error] = std::from_chars(start, number.data() + number.size(), display.value,
                                               std::chars_format::fixed);
    const std::size_t used = static_cast<std::size_t>(rest - number.data());
    const std::string_view name = std::string_view(trimmed).substr(
        std::min(trimmed.find_first_not_of(' ', used), trimmed.size()));
    const auto unit =
        std::find_if(units.begin(), units.end(), [&](const Unit& x) { return x.name == name; });
    if (error == std::errc::result_out_of_range)
        throw std::invalid_argument("\"" + trimmed + "\" is beyond all meters");
    if (error == std::errc() && hasGroups(trimmed.substr(used)))
        throw std::invalid_argument("\"" + trimmed +
                                    "\" is no number; write its digits without a mark between "
                                    "groups of them");
    if (error == std::errc() && unit == units.end() && looksLikeValue(trimmed, used))
        throw std::invalid_argument("\"" + trimmed +
                                    "\" has no unit; there are W, kW, Wh, kWh and MWh. If it is "
                                    "a serial, say --field serial");
    if (error != std::errc() || unit == units.end())
        return {.text = trimmed};
    if (!std::isfinite(display.value * unit->factor))
        throw std::invalid_argument("\"" + trimmed + "\" is no value of a meter");
    const std::size_t point = number.find('.');
    const auto decimals = point == std::string::npos ? 0 : static_cast<double>(used - point - 1);
    display.unit = unit->name;
    display.value *= unit->factor;
    display.step = std::pow(10.0, -decimals) * unit->factor;
    return display;
}

} // namespace inspector
