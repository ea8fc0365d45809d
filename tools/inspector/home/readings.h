#pragma once

#include "inspector/log/text-fields.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace inspector {

/// Milliseconds since the epoch.
using Moment = std::int64_t;

constexpr double inSeconds(std::int64_t milliseconds) {
    return static_cast<double>(milliseconds) / 1000;
}

/// The measured members of a message, in their order there. First the two powers, then the
/// energies.
constexpr std::array<std::string_view, 16> measuredMembers = {
    "powerConsumed",    "powerProduced",    "energyConsumed",   "energyProduced",
    "t1EnergyConsumed", "t1EnergyProduced", "t2EnergyConsumed", "t2EnergyProduced",
    "t3EnergyConsumed", "t3EnergyProduced", "t4EnergyConsumed", "t4EnergyProduced",
    "t5EnergyConsumed", "t5EnergyProduced", "t6EnergyConsumed", "t6EnergyProduced"};

constexpr std::size_t firstEnergy = 2;

/// So many bytes are kept of what a meter is called, which a log may make as long as it likes.
constexpr std::size_t longestName = 256;

/// A reading as the daemon offers it: powers in watts, energies in watt-seconds, if the map says
/// so.
struct LoggedReading {
    /// Of the meter; empty if the daemon doesn't know it.
    std::string id = {};
    int slaveAddress = 0;
    /// When the read of the meter began.
    Moment time = 0;
    bool tariffEnabled = false;
    /// By the place in `measuredMembers`; 0 stands also for a value that isn't there, and NaN for
    /// one that is no finite number.
    std::array<double, measuredMembers.size()> values = {};
};

/// The reading in a message, or in the text of a record as the log shows it.
std::optional<LoggedReading> readingOf(std::string_view text);

/// The moment "2026-11-14T03:24:08.123Z".
std::optional<Moment> momentOf(std::string_view text);

} // namespace inspector
