#pragma once

#include "inspector/solver/word-spaces.h"
#include "model/modbus.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace inspector {

/// What a drawn meter's entry is.
struct EntryKind {
    vxModel::ModbusFieldType fieldType;
    vxModel::ModbusDataType dataType;
    /// And the decimals that a display shows then, in watts or kilowatt-hours.
    float scale;
    int decimals;
};

/// Every field that a display shows, with every type that the daemon decodes for it and every
/// scale that the solver tries.
std::vector<EntryKind> entryKinds();

/// A register whose words stand among random ones, and what the display shows of it as time passes.
class DrawnMeter {
public:
    DrawnMeter(const EntryKind& kind, std::mt19937& random);

    std::string display() const;
    /// 125 words with those of the register.
    WordSpaces words() const;
    /// Some time passes, in which the counter or power moves, and about half of the other words.
    void moveOn();
    std::string described() const;

    vxModel::ModbusRegister entry;

private:
    int draw(int from, int to);
    void drawSerial();
    void drawNumber(int decimals);
    void drawOthers(int oneOf);
    std::vector<std::uint16_t> ownWords() const;
    double stepOfDisplay() const;

    std::mt19937& m_random;
    std::size_t m_place = 0;
    std::vector<std::uint16_t> m_words;
    std::string m_serial;
    std::string m_unit;
    /// From watts or kilowatt-hours to the display's unit.
    double m_factor = 1;
    int m_decimals = 0;
    double m_size = 0;
    bool m_isNegative = false;
};

} // namespace inspector
