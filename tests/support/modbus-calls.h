#pragma once

#include "support/stand-in.h"

#include <cstdint>
#include <modbus/modbus.h>

/// Functions of libmodbus, under their names without "modbus_".
namespace modbus_calls {

extern StandIn<modbus_t*(const char* device, int baud, char parity, int dataBits, int stopBits)>
    new_rtu;
extern StandIn<modbus_t*(const char* host, int port)> new_tcp;
extern StandIn<int(modbus_t*)> connect;
extern StandIn<int(modbus_t*)> flush;
extern StandIn<void(modbus_t*)> close;
extern StandIn<void(modbus_t*)> free;
extern StandIn<int(modbus_t*, std::uint32_t seconds, std::uint32_t microseconds)>
    set_response_timeout;
extern StandIn<int(modbus_t*, std::uint32_t seconds, std::uint32_t microseconds)>
    set_indication_timeout;
extern StandIn<int(modbus_t*, modbus_error_recovery_mode mode)> set_error_recovery;
extern StandIn<int(modbus_t*, int slave)> set_slave;
extern StandIn<int(modbus_t*, int address, int count, std::uint16_t* words)> read_registers;
extern StandIn<int(modbus_t*, int address, int count, std::uint16_t* words)> read_input_registers;

} // namespace modbus_calls
