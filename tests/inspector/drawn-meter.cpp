#include "drawn-meter.h"

#include "inspector/daemon/daemon-facts.h"
#include "vx/str.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>

namespace inspector {
namespace {

using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegisterType;

constexpr int countOfWords = 125;
constexpr int firstAddress = 1000;

struct Unit {
    const char* name;
    double factor;
    int moreDecimals;
};

constexpr std::array powerUnits = {Unit{"W", 1, 0}, Unit{"kW", 0.001, 3}};
constexpr std::array energyUnits = {Unit{"Wh", 1000, -3}, Unit{"kWh", 1, 0}, Unit{"MWh", 0.001, 3}};

/// Those of descriptions of meters. They stand here again, so that the solver can lack none of
/// them.
constexpr std::array scales = {
    1.0F,   0.1F,    0.01F,    0.001F,      0.0001F,        0.00001F,    0.000001F, 10.0F,
    100.0F, 1000.0F, 10000.0F, 1.0F / 3600, 1.0F / 3600000, 1.0F / 3.6F, 1.0F / 60, 0.5F,
    0.05F,  0.005F,  0.2F,     0.02F,       0.002F,         0.25F,       0.025F};

bool hasSign(ModbusDataType type) {
    return type == ModbusDataType::int32 || type == ModbusDataType::int64 ||
           type == ModbusDataType::float32;
}

/// As many as show each step of the meter.
int decimalsOf(float scale) {
    return std::max(0, static_cast<int>(std::ceil(-std::log10(static_cast<double>(scale)) - 1e-6)));
}

/// The largest number of a home under a scale, if the type has it.
double mostOf(ModbusDataType type, double scale) {
    constexpr double kilowattHoursOrWatts = 200000;
    const double most = std::max(kilowattHoursOrWatts / std::abs(scale), 2.0);
    switch (type) {
    case ModbusDataType::uint16:
        return std::min(most, 60000.0);
    case ModbusDataType::int32:
        return std::min(most, 2e9);
    case ModbusDataType::uint32:
        return std::min(most, 4e9);
    default:
        return most;
    }
}

} // namespace

std::vector<EntryKind> entryKinds() {
    std::vector<EntryKind> kinds = {{ModbusFieldType::serial, ModbusDataType::ascii, 1, 0},
                                    {ModbusFieldType::serial, ModbusDataType::uint32, 1, 0}};
    for (int field = static_cast<int>(ModbusFieldType::powerImport);
         field <= static_cast<int>(ModbusFieldType::energyExportTariff6); ++field)
        for (const auto type :
             {ModbusDataType::uint16, ModbusDataType::int32, ModbusDataType::uint32,
              ModbusDataType::int64, ModbusDataType::uint64, ModbusDataType::float32})
            for (const float scale : scales) {
                kinds.push_back(
                    {static_cast<ModbusFieldType>(field), type, scale, decimalsOf(scale)});
                if (hasSign(type))
                    kinds.push_back(
                        {static_cast<ModbusFieldType>(field), type, -scale, decimalsOf(scale)});
            }
    return kinds;
}

DrawnMeter::DrawnMeter(const EntryKind& kind, std::mt19937& random)
    : entry{.fieldType = kind.fieldType,
            .modbusDataType = kind.dataType,
            .length = 1,
            .scaleValue = kind.scale},
      m_random(random),
      m_words(countOfWords) {
    if (kind.fieldType == ModbusFieldType::serial)
        drawSerial();
    else
        drawNumber(kind.decimals);
    m_place = static_cast<std::size_t>(draw(0, countOfWords - wordsOf(entry)));
    entry.address = static_cast<std::uint16_t>(firstAddress + m_place);
    entry.registerType = draw(0, 1) == 0 ? ModbusRegisterType::input : ModbusRegisterType::holding;
    drawOthers(1);
}

int DrawnMeter::draw(int from, int to) {
    return std::uniform_int_distribution<int>(from, to)(m_random);
}

void DrawnMeter::drawSerial() {
    if (entry.modbusDataType == ModbusDataType::uint32) {
        m_serial = std::to_string(std::uniform_int_distribution<std::uint32_t>()(m_random));
        return;
    }
    constexpr int shortest = 3;
    constexpr int longest = 10;
    entry.length = static_cast<std::uint8_t>(draw(shortest, longest));
    for (int i = 2 * entry.length - draw(0, 1); i > 0; --i)
        m_serial += static_cast<char>(m_serial.empty() || draw(0, 1) == 0 ? draw('A', 'Z')
                                                                          : draw('0', '9'));
}

void DrawnMeter::drawNumber(int decimals) {
    const bool isEnergy = factsOf(entry.fieldType).unit == "Ws";
    const Unit& unit = isEnergy ? energyUnits[static_cast<std::size_t>(draw(0, 2))]
                                : powerUnits[static_cast<std::size_t>(draw(0, 1))];
    m_unit = unit.name;
    m_factor = unit.factor;
    m_decimals = std::max(decimals + unit.moreDecimals, 0);
    const double most = mostOf(entry.modbusDataType, static_cast<double>(entry.scaleValue));
    // What shows fewer than three digits, many words show.
    const double least = std::max(1.0, 100 * stepOfDisplay());
    m_size = std::uniform_real_distribution(least, most)(m_random);
    if (entry.modbusDataType != ModbusDataType::float32)
        m_size = std::floor(m_size);
    m_isNegative = hasSign(entry.modbusDataType) && draw(0, 3) == 0;
}

void DrawnMeter::drawOthers(int oneOf) {
    for (std::uint16_t& word : m_words)
        if (draw(1, oneOf) == 1)
            word = static_cast<std::uint16_t>(draw(0, 65535));
}

std::vector<std::uint16_t> DrawnMeter::ownWords() const {
    const auto count = static_cast<std::size_t>(wordsOf(entry));
    std::vector<std::uint16_t> words(count);
    if (entry.modbusDataType == ModbusDataType::ascii) {
        for (std::size_t i = 0; i < m_serial.size(); ++i)
            words[i / 2] |= static_cast<std::uint16_t>(m_serial[i] << (i % 2 == 0 ? 8 : 0));
        return words;
    }
    const double raw = m_isNegative ? -m_size : m_size;
    std::uint64_t bits = 0;
    if (!m_serial.empty())
        bits = std::stoul(m_serial);
    else if (entry.modbusDataType == ModbusDataType::float32)
        bits = std::bit_cast<std::uint32_t>(static_cast<float>(raw));
    else
        bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(raw));
    for (std::size_t i = 0; i < count; ++i)
        words[i] = static_cast<std::uint16_t>(bits >> 16 * (count - 1 - i));
    return words;
}

std::string DrawnMeter::display() const {
    if (!m_serial.empty())
        return m_serial;
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.*f %s", m_decimals,
                  (m_isNegative ? -m_size : m_size) * static_cast<double>(entry.scaleValue) *
                      m_factor,
                  m_unit.c_str());
    return text.data();
}

WordSpaces DrawnMeter::words() const {
    std::vector<std::uint16_t> all = m_words;
    std::ranges::copy(ownWords(), all.begin() + static_cast<std::ptrdiff_t>(m_place));
    WordSpaces spaces;
    (entry.registerType == ModbusRegisterType::input ? spaces.input
                                                     : spaces.holding)[firstAddress] = all;
    return spaces;
}

/// Of its last digit, in the meter's number.
double DrawnMeter::stepOfDisplay() const {
    return std::pow(10.0, -m_decimals) / m_factor / std::abs(static_cast<double>(entry.scaleValue));
}

void DrawnMeter::moveOn() {
    const double step = std::max(20 * stepOfDisplay(), 3.0);
    m_size += std::floor(step + std::uniform_real_distribution(0.0, step)(m_random));
    drawOthers(2);
}

std::string DrawnMeter::described() const {
    return vx::str("", entry) + " shows " + display();
}

} // namespace inspector
