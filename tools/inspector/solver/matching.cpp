#include "inspector/solver/matching.h"

#include "inspector/daemon/daemon-facts.h"
#include "modbus/register-words.h"
#include "modbus/serial-toolkit.h"

#include <algorithm>
#include <cmath>

namespace inspector {
namespace {

using vxModel::ModbusDataType;

constexpr float usualScales[] = {
    1.0F,   0.1F,    0.01F,    0.001F,      0.0001F,        0.00001F,    0.000001F, 10.0F,
    100.0F, 1000.0F, 10000.0F, 1.0F / 3600, 1.0F / 3600000, 1.0F / 3.6F, 1.0F / 60, 0.5F,
    0.05F,  0.005F,  0.2F,     0.02F,       0.002F,         0.25F,       0.025F};

bool isFloat(ModbusDataType type) {
    return type == ModbusDataType::float32;
}

/// What makes a scale unusual for a type, in bits.
double oddity(ModbusDataType type, float scale) {
    const double exponent = std::log10(static_cast<double>(scale));
    const bool isPowerOfTen = std::abs(exponent - std::round(exponent)) < 1e-6;
    if (!isPowerOfTen)
        return 4;
    const double size = std::abs(std::round(exponent));
    // Floating point needs no scale but for kilo and mega.
    if (isFloat(type) && static_cast<int>(size) % 3 != 0)
        return 4;
    return size > 3 ? 2 : size / 4;
}

/// How many of all words of the type show what the display shows, in bits.
double rarity(ModbusDataType type, float scale, const Display& display) {
    const double words = 16.0 * orv::modbusreader::dataCountMultiplier(type);
    const double interval = 1.5 * display.step / static_cast<double>(scale);
    double matching = interval;
    if (isFloat(type)) {
        const double raw = std::abs(display.value / static_cast<double>(scale));
        const double spacing = std::max(raw, 1e-30) * std::exp2(-23);
        matching = interval / spacing;
    }
    return words - std::log2(std::max(matching, 1.0));
}

} // namespace

double reportedNumber(vxModel::ModbusFieldType fieldType, float raw, float scale) {
    constexpr double wattSecondsPerKilowattHour = 3600000;
    if (factsOf(fieldType).unit == "Ws")
        return static_cast<double>(orv::modbusreader::scaleEnergy(raw, scale)) /
               wattSecondsPerKilowattHour;
    return static_cast<double>(orv::modbusreader::scalePower(raw, scale));
}

std::vector<Match> matchesOf(const Display& display, vxModel::ModbusFieldType fieldType,
                             ModbusDataType dataType, float raw) {
    std::vector<Match> matches;
    if (!std::isfinite(raw))
        return matches;
    for (const float scale : usualScales) {
        const double value = reportedNumber(fieldType, raw, scale);
        if (display.shows(value))
            matches.push_back(
                {scale, value, rarity(dataType, scale, display) - oddity(dataType, scale)});
    }
    return matches;
}

} // namespace inspector
