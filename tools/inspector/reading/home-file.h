#pragma once

#include "inspector/reading/meter-poll.h"
#include "inspector/recording/recorded-poll.h"
#include "model/modbus.h"

#include <chrono>
#include <vector>

namespace inspector {

/// A meter that was read, with what the local server says of it.
struct ReadMeter {
    vxModel::ModbusMeter meter;
    vxModel::ElectricityMeterConfig model;
    MeterReading reading;
};

/// A poll that began at @p time, for a recording that `modbus-house` plays: the local server
/// attaches these meters, and each read of them comes to what it came to.
RecordedPoll recordedPoll(std::chrono::system_clock::time_point time,
                          const std::vector<ReadMeter>& meters,
                          const vxModel::SerialPortConfig& line);

} // namespace inspector
