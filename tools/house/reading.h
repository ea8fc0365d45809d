#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string>

namespace house {

/// What a metering service understands of a message: powers in watts, energies in kilowatt-hours.
struct Reading {
    std::string id;
    int slaveAddress = 0;
    std::chrono::system_clock::time_point readBegan;
    bool tariffEnabled = false;
    double powerIn = 0.0;
    double powerOut = 0.0;
    double energyIn = 0.0;
    double energyOut = 0.0;
    std::array<double, 6> tariffIn{};
    std::array<double, 6> tariffOut{};

    /// Whether any power or energy is there. A value of zero is not.
    bool hasValues() const;
};

/// The reading in the JSON text @p message; nothing when it is no such text or has no `id`.
std::optional<Reading> tryToReading(const std::string& message);

} // namespace house
