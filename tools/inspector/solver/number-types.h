#pragma once

#include "model/modbus.h"

#include <array>

namespace inspector {

/// The types that the daemon decodes as numbers. Wider ones first, and of two that read the same
/// the one that meters use more.
constexpr std::array numberTypes = {
    vxModel::ModbusDataType::uint64,  vxModel::ModbusDataType::int64,
    vxModel::ModbusDataType::float32, vxModel::ModbusDataType::uint32,
    vxModel::ModbusDataType::int32,   vxModel::ModbusDataType::uint16};

} // namespace inspector
