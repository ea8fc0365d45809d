#pragma once

#include "vx/identifier.h"
#include "vx/record.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace orv::metering::readings {

/// Identity of a meter at the metering service: its serial.
using MeterId = vx::Identifier<struct MeterIdTag>;

/// The result of one read of one meter; its JSON text is the one message that the daemon sends.
/// Energies are in watt-seconds if the register's scale gives kilowatt-hours; powers are in the
/// unit that the scale gives. The numbers passed through single precision. A value of zero is left
/// out of the message, a NaN or an infinity stands as null. A record that holds a NaN is not equal
/// to itself.
struct ModbusMeteringSystem {
    /// Empty if the serial isn't known; such a record is not sent.
    MeterId id = {};
    /// The low eight bits of the address on the bus.
    std::uint8_t slaveAddress = 0;
    /// Kind of the source; "modbus" for this daemon.
    std::string meteringType = {};
    /// Moment at which the read of the meter began.
    std::chrono::system_clock::time_point lastChanged = {};
    bool tariffEnabled = false;
    /// Consumed is what flows to the consumer (import), produced what it delivers (export). No
    /// power is negative unless a register of type `powerExport`, or its scale, says so.
    double powerConsumed = 0.0;
    double powerProduced = 0.0;
    double energyConsumed = 0.0;
    double energyProduced = 0.0;
    /// By tariff, one to six.
    double t1EnergyConsumed = 0.0;
    double t1EnergyProduced = 0.0;
    double t2EnergyConsumed = 0.0;
    double t2EnergyProduced = 0.0;
    double t3EnergyConsumed = 0.0;
    double t3EnergyProduced = 0.0;
    double t4EnergyConsumed = 0.0;
    double t4EnergyProduced = 0.0;
    double t5EnergyConsumed = 0.0;
    double t5EnergyProduced = 0.0;
    double t6EnergyConsumed = 0.0;
    double t6EnergyProduced = 0.0;

    bool operator==(const ModbusMeteringSystem&) const = default;
    VX_FIELDS(ModbusMeteringSystem, id, slaveAddress, meteringType, lastChanged, tariffEnabled,
              powerConsumed, powerProduced, energyConsumed, energyProduced, t1EnergyConsumed,
              t1EnergyProduced, t2EnergyConsumed, t2EnergyProduced, t3EnergyConsumed,
              t3EnergyProduced, t4EnergyConsumed, t4EnergyProduced, t5EnergyConsumed,
              t5EnergyProduced, t6EnergyConsumed, t6EnergyProduced)
};

} // namespace orv::metering::readings
