#include "support/modbus-calls.h"

// The stand-in, what it calls, and what is called in its place, for one function of libmodbus.
#define MODBUS_CALL(result, name, parameters, arguments)                                           \
    extern "C" result __real_modbus_##name parameters;                                             \
    constinit decltype(modbus_calls::name) modbus_calls::name(__real_modbus_##name);               \
    extern "C" result __wrap_modbus_##name parameters {                                            \
        return modbus_calls::name arguments;                                                       \
    }

MODBUS_CALL(modbus_t*, new_rtu,
            (const char* device, int baud, char parity, int dataBits, int stopBits),
            (device, baud, parity, dataBits, stopBits))
MODBUS_CALL(modbus_t*, new_tcp, (const char* host, int port), (host, port))
MODBUS_CALL(int, connect, (modbus_t * context), (context))
MODBUS_CALL(int, flush, (modbus_t * context), (context))
MODBUS_CALL(void, close, (modbus_t * context), (context))
MODBUS_CALL(void, free, (modbus_t * context), (context))
MODBUS_CALL(int, set_response_timeout,
            (modbus_t * context, std::uint32_t seconds, std::uint32_t microseconds),
            (context, seconds, microseconds))
MODBUS_CALL(int, set_indication_timeout,
            (modbus_t * context, std::uint32_t seconds, std::uint32_t microseconds),
            (context, seconds, microseconds))
MODBUS_CALL(int, set_error_recovery, (modbus_t * context, modbus_error_recovery_mode mode),
            (context, mode))
MODBUS_CALL(int, set_slave, (modbus_t * context, int slave), (context, slave))
MODBUS_CALL(int, read_registers, (modbus_t * context, int address, int count, std::uint16_t* words),
            (context, address, count, words))
MODBUS_CALL(int, read_input_registers,
            (modbus_t * context, int address, int count, std::uint16_t* words),
            (context, address, count, words))
