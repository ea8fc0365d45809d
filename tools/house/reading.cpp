#include "house/reading.h"

#include "house/json-part.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace house {

namespace {

constexpr double wattSecondsPerKilowattHour = 3.6e6;

/// Reads "2026-11-14T03:24:08.123Z".
std::chrono::system_clock::time_point toTime(const std::string& text) {
    std::tm parts{};
    int milliseconds = 0;
    const char* rest = ::strptime(text.c_str(), "%FT%T", &parts);
    if (rest == nullptr || std::sscanf(rest, ".%3dZ", &milliseconds) != 1)
        throw std::runtime_error("No time: " + text);
    return std::chrono::system_clock::from_time_t(::timegm(&parts)) +
           std::chrono::milliseconds(milliseconds);
}

double energy(const JsonPart& message, const std::string& key) {
    return message.number(key, 0.0) / wattSecondsPerKilowattHour;
}

Reading toReading(const JsonPart& message) {
    Reading reading;
    reading.id = message.text("id");
    reading.slaveAddress = static_cast<int>(message.number("slaveAddress"));
    reading.readBegan = toTime(message.text("lastChanged"));
    reading.tariffEnabled = message.has("tariffEnabled");
    reading.powerIn = message.number("powerConsumed", 0.0);
    reading.powerOut = message.number("powerProduced", 0.0);
    reading.energyIn = energy(message, "energyConsumed");
    reading.energyOut = energy(message, "energyProduced");
    for (std::size_t i = 0; i < reading.tariffIn.size(); ++i) {
        const std::string tariff = "t" + std::to_string(i + 1);
        reading.tariffIn[i] = energy(message, tariff + "EnergyConsumed");
        reading.tariffOut[i] = energy(message, tariff + "EnergyProduced");
    }
    return reading;
}

} // namespace

bool Reading::hasValues() const {
    const auto isThere = [](double value) { return value != 0.0; };
    return isThere(powerIn) || isThere(powerOut) || isThere(energyIn) || isThere(energyOut) ||
           std::any_of(tariffIn.begin(), tariffIn.end(), isThere) ||
           std::any_of(tariffOut.begin(), tariffOut.end(), isThere);
}

std::optional<Reading> tryToReading(const std::string& message) {
    try {
        return toReading(JsonPart::fromText(message));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

} // namespace house
