#pragma once

#include "model/modbus.h"

#include <cstddef>
#include <string>

// What the daemon makes of a register, found by trying: its own code is given a record and asked
// what became of it. So nothing here can differ from what it does.

namespace inspector {

/// How many field types there are; they count from 0.
constexpr std::size_t fieldTypes =
    static_cast<std::size_t>(vxModel::ModbusFieldType::tariffEnabled) + 1;

/// Lets the daemon's code log nothing. Standard error is for the person at the terminal.
void silenceDaemon();

struct FieldFacts {
    /// Key in the message; empty if the field fills none.
    std::string member = {};
    /// The one that a value takes which isn't above zero, if it is another.
    std::string memberOfNegative = {};
    /// "Ws" for an energy, "W" for a power, which is what its scale should lead to; else empty.
    std::string unit = {};
    /// Whether the value of the poll before stands in for a failed read.
    bool carried = false;
};

const FieldFacts& factsOf(vxModel::ModbusFieldType fieldType);

/// Whether a successful read of a register of this type and field changes the record.
bool hasEffect(vxModel::ModbusDataType dataType, vxModel::ModbusFieldType fieldType);

/// Whether values of the type become numbers.
bool hasNumber(vxModel::ModbusDataType dataType);

/// Whether the Modbus library takes the address of a meter, and doesn't keep the one before.
bool isTakenAddress(int slaveAddress, bool isTcp);

/// Words of a register on the bus.
int wordsOf(const vxModel::ModbusRegister& aRegister);

/// What the message can hold of a measured register.
struct Range {
    /// Of the largest number that the type has, at most the largest finite one.
    double largest = 0;
    /// From there down, of what comes from the meter or of what single precision holds: the larger.
    double step = 0;
};

/// All zero for a register that has no number in the message.
Range rangeOf(const vxModel::ModbusRegister& aRegister);

/// Number of kilowatt-hours in the message that a raw value of an energy register becomes.
double kilowattHoursOf(const vxModel::ModbusRegister& aRegister, double raw);

} // namespace inspector
