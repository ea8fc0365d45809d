#pragma once

#include "inspector/reading/meter-poll.h"
#include "model/modbus.h"

#include <string>
#include <vector>

namespace inspector {

/// A meter that was read, with what the local server says of it.
struct ReadMeter {
    vxModel::ModbusMeter meter;
    vxModel::ElectricityMeterConfig model;
    MeterReading reading;
};

/// The description of a home that `modbus-house` runs, whose registers show what was read, and 0
/// for what could not be read.
std::string homeOf(const std::vector<ReadMeter>& meters, const vxModel::SerialPortConfig& line);

} // namespace inspector
