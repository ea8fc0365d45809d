#pragma once

#include "inspector/daemon/daemon-facts.h"
#include "model/modbus.h"

#include <string>
#include <unordered_map>

namespace inspector {

/// What a map says of a register, and what the daemon makes of it.
struct RegisterRow {
    bool isInput = false;
    /// Of the Modbus Application Protocol: 4 reads input registers, 3 holding registers.
    int function = 3;
    int words = 0;
    std::string dataType;
    std::string fieldType;
    /// As short as it may be written.
    std::string scale;
    /// Whether the register has an effect on the record.
    bool isUsed = false;
    const FieldFacts* facts = nullptr;
    Range range;
};

/// Makes rows; ranges of registers that are alike in all that matters are found once.
class RegisterRows {
public:
    RegisterRow of(const vxModel::ModbusRegister& aRegister);

private:
    std::unordered_map<std::string, Range> m_ranges;
};

/// The shortest text that stands for the number.
std::string shortest(float number);

} // namespace inspector
