#pragma once

#include "inspector/solver/reading.h"
#include "model/modbus.h"

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace inspector {

/// A scale that takes numbers to what the displays show.
struct Match {
    /// Below zero if the numbers have the other sign than what is shown.
    float scale = 1;
    /// How unlikely other words would show it too, less what makes the scale unusual; in bits.
    double plausibility = 0;
};

/// Scales that meters use: powers of ten, halves and fifths of them, and what takes seconds or
/// megajoules to hours.
inline constexpr std::array usualScales = {
    1.0F,   0.1F,    0.01F,    0.001F,      0.0001F,        0.00001F,    0.000001F, 10.0F,
    100.0F, 1000.0F, 10000.0F, 1.0F / 3600, 1.0F / 3600000, 1.0F / 3.6F, 1.0F / 60, 0.5F,
    0.05F,  0.005F,  0.2F,     0.02F,       0.002F,         0.25F,       0.025F};

/// Finds the scales between the numbers of a register and what the display shows, each time. Tries
/// those that meters use, also turned where the type has a sign.
class Matching {
public:
    explicit Matching(const Readings& readings);

    /// @p numbers has one for each reading. What is found may differ from what the display shows by
    /// a rounding of the daemon.
    void match(vxModel::ModbusDataType type, std::span<const float> numbers,
               const std::function<void(const Match&)>& found) const;

private:
    /// The sizes of numbers that show under a scale what a display shows.
    struct Interval {
        double least;
        double most;
        /// What it shows.
        double display;

        bool contains(double number) const;
    };
    struct Scale {
        float factor = 1;
        /// One for each reading.
        std::vector<Interval> intervals = {};
        /// Of the first one.
        double least = 0;
        double most = 0;
    };

    /// Whether all numbers have the other sign than what is shown; nothing if some don't fit.
    static std::optional<bool> turned(const Scale& scale, std::span<const float> numbers);
    static double rarity(vxModel::ModbusDataType type, const Interval& interval, float number);
    static double plausibility(const Scale& scale, vxModel::ModbusDataType type,
                               std::span<const float> numbers, bool isTurned);

    /// The largest factor first.
    std::vector<Scale> m_scales = {};
};

} // namespace inspector
