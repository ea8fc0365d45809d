#pragma once

#include "inspector/bus/bus.h"
#include "metering/readings.h"
#include "model/modbus.h"

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// What one register gave in one poll.
struct RegisterReading {
    vxModel::ModbusRegister entry = {};
    /// Unset for a serial register that needs no reading.
    std::optional<Answer> answer = std::nullopt;
    std::chrono::system_clock::time_point moment = {};
    /// Key in the message, and the value as it stands there; empty if the words have no effect.
    std::string member = {};
    std::string value = {};
};

struct MeterReading {
    int slaveAddress = 0;
    std::vector<RegisterReading> registers = {};
    orv::metering::readings::ModbusMeteringSystem record = {};
    /// Whether it was ended ahead of its last register.
    bool isEnded = false;
    /// Empty if it was, or if the daemon sends none, as the serial isn't known.
    std::string message = {};

    bool isGood() const;
};

/// Reads meters as the daemon does: the registers one by one in their order, 20 ms ahead of each,
/// and with the value of the reading before for what fails.
class MeterPoll {
public:
    /// A reading ends ahead of the next register when @p stop is set.
    MeterPoll(Bus& bus, const std::atomic<bool>& stop) : m_bus(bus), m_stop(stop) {}

    /// @p listedSerial is that of the list of attached meters, if it has one.
    MeterReading read(int slaveAddress, const vxModel::ElectricityMeterConfig& model,
                      const std::string& listedSerial);

private:
    RegisterReading readRegister(MeterReading& reading, const vxModel::ModbusRegister& entry);

    Bus& m_bus;
    const std::atomic<bool>& m_stop;
    /// By the low eight bits of the address, as the daemon keeps them.
    std::map<int, orv::metering::readings::ModbusMeteringSystem> m_previous = {};
};

} // namespace inspector
