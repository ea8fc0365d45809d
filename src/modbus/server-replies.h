#pragma once

#include "model/modbus.h"
#include "vx/record.h"

#include <vector>

// The envelopes of the local server's answers. Only their key "data" is read; without it an answer
// counts as an empty one: no serial parameters, no meters, no models.

namespace orv::modbusreader {

/// The answer to `rtuconfig`.
struct SerialPortConfigReply {
    vxModel::SerialPortConfig data;

    bool operator==(const SerialPortConfigReply&) const = default;
    VX_FIELDS(SerialPortConfigReply, data)
};

/// The answer to `attached`.
struct AttachedMetersReply {
    std::vector<vxModel::ModbusMeter> data;

    bool operator==(const AttachedMetersReply&) const = default;
    VX_FIELDS(AttachedMetersReply, data)
};

/// The answer to `config/supported`.
struct MeterConfigReply {
    std::vector<vxModel::ElectricityMeterConfig> data;

    bool operator==(const MeterConfigReply&) const = default;
    VX_FIELDS(MeterConfigReply, data)
};

} // namespace orv::modbusreader
