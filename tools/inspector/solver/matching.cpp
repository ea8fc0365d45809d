#include "inspector/solver/matching.h"

#include "modbus/register-words.h"

#include <algorithm>
#include <cmath>

namespace inspector {
namespace {

using vxModel::ModbusDataType;

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

bool hasSign(ModbusDataType type) {
    return type != ModbusDataType::uint16 && type != ModbusDataType::uint32 &&
           type != ModbusDataType::uint64;
}

/// What is found is compared with the daemon's own number later.
constexpr double slack = 1e-6;

} // namespace

Matching::Matching(const Readings& readings) {
    for (const float factor : usualScales) {
        Scale scale{.factor = factor};
        for (const auto& [display, words] : readings) {
            const auto [least, most] = display.sizes();
            scale.intervals.push_back({least / static_cast<double>(factor) * (1 - slack),
                                       most / static_cast<double>(factor) * (1 + slack),
                                       display.value});
        }
        scale.least = scale.intervals.front().least;
        scale.most = scale.intervals.front().most;
        m_scales.push_back(std::move(scale));
    }
    std::sort(m_scales.begin(), m_scales.end(),
              [](const Scale& a, const Scale& b) { return a.factor > b.factor; });
}

bool Matching::Interval::contains(double number) const {
    const double size = std::abs(number);
    return size >= least && size <= most;
}

std::optional<bool> Matching::turned(const Scale& scale, std::span<const float> numbers) {
    std::optional<bool> result;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto number = static_cast<double>(numbers[i]);
        const Interval& interval = scale.intervals[i];
        if (!interval.contains(number))
            return std::nullopt;
        if (number == 0 || interval.display == 0)
            continue;
        const bool isTurned = (number < 0) != (interval.display < 0);
        if (result.value_or(isTurned) != isTurned)
            return std::nullopt;
        result = isTurned;
    }
    return result.value_or(false);
}

/// How many of all words of the type show what the display shows, in bits.
double Matching::rarity(ModbusDataType type, const Interval& interval, float number) {
    // A zero is everywhere, and what is only displayed as zero is less likely still.
    constexpr double oddityOfHiddenNumber = 8;
    if (interval.least <= 0)
        return number == 0 ? 0 : -oddityOfHiddenNumber;
    const double words = 16.0 * orv::modbusreader::dataCountMultiplier(type);
    double matching = interval.most - interval.least;
    if (isFloat(type))
        matching /= interval.most * std::exp2(-23);
    return words - std::log2(std::max(matching, 1.0));
}

double Matching::plausibility(const Scale& scale, ModbusDataType type,
                              std::span<const float> numbers, bool isTurned) {
    constexpr double oddityOfTurning = 4;
    double bits = 0;
    // A number that stays tells nothing new.
    for (std::size_t i = 0; i < numbers.size(); ++i)
        if (i == 0 || numbers[i] != numbers[i - 1])
            bits += rarity(type, scale.intervals[i], numbers[i]);
    return bits - oddity(type, scale.factor) - (isTurned ? oddityOfTurning : 0);
}

void Matching::match(ModbusDataType type, std::span<const float> numbers,
                     const std::function<void(const Match&)>& found) const {
    const double size = std::abs(static_cast<double>(numbers.front()));
    const bool areZero =
        std::all_of(numbers.begin(), numbers.end(), [](float x) { return x == 0; });
    for (const Scale* scale = m_scales.data(); scale != m_scales.data() + m_scales.size();
         ++scale) {
        // From scale to scale the numbers grow.
        if (size > scale->most)
            continue;
        if (size < scale->least)
            break;
        // Zeros are zero under each scale.
        if (areZero && scale->factor != 1)
            continue;
        const std::optional<bool> isTurned = turned(*scale, numbers);
        if (!isTurned || (*isTurned && !hasSign(type)))
            continue;
        found({*isTurned ? -scale->factor : scale->factor,
               plausibility(*scale, type, numbers, *isTurned)});
    }
}

} // namespace inspector
