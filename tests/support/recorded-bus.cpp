#include "support/recorded-bus.h"

#include "vx/str.h"

#include <modbus/modbus.h>

#include <dlfcn.h>
#include <optional>
#include <unistd.h>
#include <utility>

namespace {

std::vector<std::string> calls;
std::optional<int> wordsToTell;

void record(std::string call) {
    // A slave calls the library too, on a thread of its own.
    if (gettid() == getpid())
        calls.push_back(std::move(call));
}

/// The library's function of that name.
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

std::vector<std::string> recorded_bus::take() {
    return std::exchange(calls, {});
}

void recorded_bus::letReadsTell(int words) {
    wordsToTell = words;
}

// Stand in for the libraries' functions of the same names.

extern "C" modbus_t* modbus_new_rtu(const char* device, int baud, char parity, int dataBits,
                                    int stopBits) {
    record(
        vx::str("modbus_new_rtu ", device, " ", baud, " ", parity, " ", dataBits, " ", stopBits));
    return next<decltype(modbus_new_rtu)>("modbus_new_rtu")(device, baud, parity, dataBits,
                                                            stopBits);
}

extern "C" modbus_t* modbus_new_tcp(const char* host, int port) {
    record(vx::str("modbus_new_tcp ", host, " ", port));
    return next<decltype(modbus_new_tcp)>("modbus_new_tcp")(host, port);
}

extern "C" int modbus_connect(modbus_t* ctx) {
    record("modbus_connect");
    return next<decltype(modbus_connect)>("modbus_connect")(ctx);
}

extern "C" int modbus_flush(modbus_t* ctx) {
    record("modbus_flush");
    return next<decltype(modbus_flush)>("modbus_flush")(ctx);
}

extern "C" void modbus_close(modbus_t* ctx) {
    record("modbus_close");
    next<decltype(modbus_close)>("modbus_close")(ctx);
}

extern "C" void modbus_free(modbus_t* ctx) {
    record("modbus_free");
    next<decltype(modbus_free)>("modbus_free")(ctx);
}

extern "C" int modbus_set_response_timeout(modbus_t* ctx, std::uint32_t seconds,
                                           std::uint32_t microseconds) {
    record(vx::str("modbus_set_response_timeout ", seconds, " ", microseconds));
    return next<decltype(modbus_set_response_timeout)>("modbus_set_response_timeout")(ctx, seconds,
                                                                                      microseconds);
}

extern "C" int modbus_set_indication_timeout(modbus_t* ctx, std::uint32_t seconds,
                                             std::uint32_t microseconds) {
    record(vx::str("modbus_set_indication_timeout ", seconds, " ", microseconds));
    return next<decltype(modbus_set_indication_timeout)>("modbus_set_indication_timeout")(
        ctx, seconds, microseconds);
}

extern "C" int modbus_set_error_recovery(modbus_t* ctx, modbus_error_recovery_mode mode) {
    record(vx::str("modbus_set_error_recovery ", static_cast<int>(mode)));
    return next<decltype(modbus_set_error_recovery)>("modbus_set_error_recovery")(ctx, mode);
}

extern "C" int modbus_set_slave(modbus_t* ctx, int slave) {
    record(vx::str("modbus_set_slave ", slave));
    return next<decltype(modbus_set_slave)>("modbus_set_slave")(ctx, slave);
}

extern "C" int modbus_read_registers(modbus_t* ctx, int address, int count, std::uint16_t* words) {
    record(vx::str("modbus_read_registers ", address, " x", count));
    const int told =
        next<decltype(modbus_read_registers)>("modbus_read_registers")(ctx, address, count, words);
    return told == -1 ? told : wordsToTell.value_or(told);
}

extern "C" int modbus_read_input_registers(modbus_t* ctx, int address, int count,
                                           std::uint16_t* words) {
    record(vx::str("modbus_read_input_registers ", address, " x", count));
    return next<decltype(modbus_read_input_registers)>("modbus_read_input_registers")(ctx, address,
                                                                                      count, words);
}

extern "C" int usleep(useconds_t microseconds) {
    record(vx::str("usleep ", microseconds));
    return next<decltype(usleep)>("usleep")(microseconds);
}
