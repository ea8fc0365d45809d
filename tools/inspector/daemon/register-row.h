#pragma once

#include "inspector/daemon/daemon-facts.h"
#include "model/modbus.h"

#include <cstdint>
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
    /// Of an energy: what each 1 of the meter becomes in the message.
    double kilowattHoursOfOne = 0;
};

/// Makes rows, one for all registers that differ in their address alone.
class RegisterRows {
public:
    /// Valid as long as this object.
    const RegisterRow& of(const vxModel::ModbusRegister& aRegister);

private:
    std::unordered_map<std::uint64_t, RegisterRow> m_rows;
};

} // namespace inspector
