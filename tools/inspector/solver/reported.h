#pragma once

#include "model/modbus.h"

#include <cstdint>
#include <span>
#include <string>

namespace inspector {

/// What the daemon makes of a register by itself.
struct Reported {
    /// Key in the message; empty if it fills none.
    std::string member = {};
    /// Of the member, in watts or kilowatt-hours.
    double number = 0;
    /// The same with the sign of the flow: what a power import delivers is below zero, though it
    /// stands as a positive number in a member of its own.
    double flow = 0;
    std::string serial = {};
};

/// Asks the daemon's own decoding. The words must be as many as the entry has.
Reported reportedOf(const vxModel::ModbusRegister& entry, std::span<const std::uint16_t> words);

} // namespace inspector
