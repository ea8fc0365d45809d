#include "house/reading-table.h"

#include <array>
#include <cstdio>
#include <utility>

namespace house {

namespace {

constexpr std::size_t rowSize = 256;

/// The tariffs in use, each as "T1 in/out" in whole kilowatt-hours.
std::string tariffs(const Reading& reading) {
    std::string text = reading.tariffEnabled ? "" : "off";
    for (std::size_t i = 0; reading.tariffEnabled && i < reading.tariffIn.size(); ++i) {
        if (reading.tariffIn[i] == 0.0 && reading.tariffOut[i] == 0.0)
            continue;
        std::array<char, 64> tariff{};
        std::snprintf(tariff.data(), tariff.size(), "%sT%zu %.1f/%.1f", text.empty() ? "" : "  ",
                      i + 1, reading.tariffIn[i], reading.tariffOut[i]);
        text += tariff.data();
    }
    return text;
}

} // namespace

ReadingTable::ReadingTable(std::vector<Meter> meters) : m_meters(std::move(meters)) {}

void ReadingTable::update(const Reading& reading) {
    m_readings[reading.slaveAddress] = reading;
}

std::string ReadingTable::heading() {
    std::array<char, rowSize> text{};
    std::snprintf(text.data(), text.size(), "%-10s %9s %9s %11s %11s %6s  %s", "meter", "in W",
                  "out W", "in kWh", "out kWh", "age s", "tariffs in/out kWh");
    return text.data();
}

std::vector<std::string> ReadingTable::rows(Time now) const {
    std::vector<std::string> result;
    for (const Meter& meter : m_meters)
        result.push_back(row(meter, now));
    return result;
}

std::string ReadingTable::row(int slaveAddress, Time now) const {
    for (const Meter& meter : m_meters) {
        if (meter.slaveAddress == slaveAddress)
            return row(meter, now);
    }
    return {};
}

std::string ReadingTable::row(const Meter& meter, Time now) const {
    std::array<char, rowSize> text{};
    const auto found = m_readings.find(meter.slaveAddress);
    if (found == m_readings.end()) {
        std::snprintf(text.data(), text.size(), "%-10s %9s %9s %11s %11s %6s  %s",
                      meter.name.c_str(), "-", "-", "-", "-", "-", "-");
        return text.data();
    }
    const Reading& reading = found->second;
    const double age = std::chrono::duration<double>(now - reading.readBegan).count();
    std::snprintf(text.data(), text.size(), "%-10s %9.1f %9.1f %11.2f %11.2f %6.1f  %s",
                  meter.name.c_str(), reading.powerIn, reading.powerOut, reading.energyIn,
                  reading.energyOut, age, tariffs(reading).c_str());
    return text.data();
}

} // namespace house
