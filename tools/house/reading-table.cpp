#include "house/reading-table.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace house {

namespace {

constexpr std::size_t figuresWidth = 51;

bool beginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

/// Number of columns of a text in UTF-8.
std::size_t columns(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
}

/// The beginning of a text in UTF-8, with a mark if that is not all of it.
std::string cut(const std::string& text, std::size_t width) {
    if (columns(text) <= width)
        return text;
    std::size_t size = 0;
    for (std::size_t column = 0; column < width; ++size)
        column += beginsCharacter(text[size]) ? 1U : 0U;
    return text.substr(0, size - 1) + "~";
}

std::string inColumns(const std::string& text, std::size_t width) {
    std::string result = cut(text, width);
    result.resize(result.size() + width - columns(result), ' ');
    return result;
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

std::vector<std::string> ReadingTable::lines(std::size_t width, std::size_t height,
                                             Time now) const {
    const std::size_t nameWidth =
        std::clamp(width > figuresWidth ? width - figuresWidth : 0, std::size_t{5}, m_nameWidth);
    std::vector<std::string> meters;
    std::vector<std::string> all;
    for (const Meter& meter : m_meters) {
        meters.push_back(cut(inColumns(meter.name, nameWidth) + figures(meter, now), width));
        all.push_back(meters.back());
        for (std::string& line : tariffLines(meter, width))
            all.push_back(std::move(line));
    }

    std::vector<std::string> result{
        cut(inColumns("meter", nameWidth) + "      in W     out W      in kWh     out kWh  age s",
            width)};
    const std::size_t room = std::max(height, std::size_t{2}) - 1;
    if (all.size() <= room)
        meters = std::move(all);
    if (meters.size() > room) {
        const std::size_t hidden = meters.size() - room + 1;
        meters.resize(room - 1);
        meters.push_back(cut("and " + std::to_string(hidden) + " more meters", width));
    }
    result.insert(result.end(), meters.begin(), meters.end());
    return result;
}

std::vector<std::string> ReadingTable::tariffLines(const Meter& meter, std::size_t width) const {
    const std::string label = "  in/out kWh";
    std::vector<std::string> result;
    for (const std::string& tariff : tariffs(meter)) {
        if (result.empty() || result.back().size() + 2 + tariff.size() > width)
            result.push_back(result.empty() ? label : std::string(label.size(), ' '));
        result.back() += "  " + tariff;
    }
    for (std::string& line : result)
        line = cut(line, width);
    return result;
}

} // namespace house
