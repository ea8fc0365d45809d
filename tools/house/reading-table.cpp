#include "house/reading-table.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace house {

namespace {

/// Number of columns of a text in UTF-8.
std::size_t columns(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

std::string inColumns(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, columns(text)), ' ');
}

} // namespace

ReadingTable::ReadingTable(std::vector<Meter> meters) : m_meters(std::move(meters)) {
    for (const Meter& meter : m_meters)
        m_nameWidth = std::max(m_nameWidth, columns(meter.name));
}

void ReadingTable::update(const Reading& reading) {
    m_readings[reading.slaveAddress] = reading;
}

std::string ReadingTable::heading() const {
    return inColumns("meter", m_nameWidth) +
           "      in W     out W      in kWh     out kWh  age s  tariffs in/out kWh";
}

std::vector<std::string> ReadingTable::rows(Time now) const {
    std::vector<std::string> result;
    for (const Meter& meter : m_meters)
        result.push_back(row(meter.slaveAddress, now));
    return result;
}

std::string ReadingTable::row(int slaveAddress, Time now) const {
    for (const Meter& meter : m_meters) {
        if (meter.slaveAddress != slaveAddress)
            continue;
        std::string result = inColumns(meter.name, m_nameWidth) + figures(meter, now);
        const auto reading = m_readings.find(slaveAddress);
        if (reading == m_readings.end())
            return result + "  -";
        if (!reading->second.tariffEnabled)
            return result + "  off";
        for (const std::string& tariff : tariffs(meter))
            result += "  " + tariff;
        return result;
    }
    return {};
}

std::string ReadingTable::figures(const Meter& meter, Time now) const {
    std::array<char, 256> text{};
    const auto found = m_readings.find(meter.slaveAddress);
    if (found == m_readings.end()) {
        std::snprintf(text.data(), text.size(), " %9s %9s %11s %11s %6s", "-", "-", "-", "-", "-");
        return text.data();
    }
    const Reading& reading = found->second;
    const double age = std::chrono::duration<double>(now - reading.readBegan).count();
    std::snprintf(text.data(), text.size(), " %9.1f %9.1f %11.2f %11.2f %6.1f", reading.powerIn,
                  reading.powerOut, reading.energyIn, reading.energyOut, age);
    return text.data();
}

/// Those in use, each as "T1 in/out".
std::vector<std::string> ReadingTable::tariffs(const Meter& meter) const {
    std::vector<std::string> result;
    const auto found = m_readings.find(meter.slaveAddress);
    if (found == m_readings.end() || !found->second.tariffEnabled)
        return result;
    const auto& in = found->second.tariffIn;
    const auto& out = found->second.tariffOut;
    for (std::size_t i = 0; i < in.size(); ++i) {
        if (in[i] == 0.0 && out[i] == 0.0)
            continue;
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "T%zu %.1f/%.1f", i + 1, in[i], out[i]);
        result.emplace_back(text.data());
    }
    return result;
}

} // namespace house
