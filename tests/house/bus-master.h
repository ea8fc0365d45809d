#pragma once

#include "house/modbus-slave.h"

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <modbus/modbus.h>
#include <string>

namespace house {

/// A Modbus master for the tests, with a response time-out short enough to wait for a silence.
class Master {
public:
    explicit Master(const ModbusSlave& slave) : Master(modbus_new_tcp("127.0.0.1", slave.port())) {}
    explicit Master(const std::string& tty)
        : Master(modbus_new_rtu(tty.c_str(), 19200, 'E', 8, 1)) {}
    ~Master() {
        modbus_close(m_context);
        modbus_free(m_context);
    }
    Master(const Master&) = delete;
    Master& operator=(const Master&) = delete;

    /// The words read, or an empty list and `error`.
    Words readInput(int unit, int address, int count) {
        return read(modbus_read_input_registers, unit, address, count);
    }
    Words readHolding(int unit, int address, int count) {
        return read(modbus_read_registers, unit, address, count);
    }
    int writeRegister(int unit, int address) {
        modbus_set_slave(m_context, unit);
        return outcome(modbus_write_register(m_context, address, 1));
    }

    int error = 0;

private:
    explicit Master(modbus_t* context) : m_context(context) {
        modbus_set_response_timeout(m_context, 0, 200000);
        EXPECT_EQ(modbus_connect(m_context), 0) << modbus_strerror(errno);
    }

    int outcome(int result) {
        error = result < 0 ? errno : 0;
        return result;
    }

    Words read(int (*function)(modbus_t*, int, int, std::uint16_t*), int unit, int address,
               int count) {
        Words words(static_cast<std::size_t>(count));
        modbus_set_slave(m_context, unit);
        return outcome(function(m_context, address, count, words.data())) < 0 ? Words() : words;
    }

    modbus_t* m_context;
};

} // namespace house
