#pragma once

#include <memory>

#include <modbus/modbus.h>

namespace house {

struct ModbusContextDeleter {
    void operator()(modbus_t* context) const { modbus_free(context); }
};

/// What libmodbus knows of a line. It does not close the line with itself.
using ModbusContext = std::unique_ptr<modbus_t, ModbusContextDeleter>;

} // namespace house
