#pragma once

#include "bus-master.h"
#include "house/modbus-slave.h"
#include "house/pty-pair.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>

namespace house {

/// A slave and its master, on TCP or over a pseudo terminal, and what the master says of an answer
/// that came with damage.
struct TcpBus {
    static constexpr int errorOfDamage = EMBBADDATA;
    ModbusSlave slave{TcpPort{}};
    std::unique_ptr<Master> master = std::make_unique<Master>(slave);
};
struct RtuBus {
    static constexpr int errorOfDamage = EMBBADCRC;
    PtyPair line;
    ModbusSlave slave{Tty{line.slaveEnd()}};
    std::unique_ptr<Master> master = std::make_unique<Master>(line.masterEnd());
};

template <class Bus>
class ModbusSlaveOn : public testing::Test {
protected:
    Bus m_bus;
    ModbusSlave& m_slave = m_bus.slave;
    Master& m_master = *m_bus.master;
};

struct BusNames {
    template <class Bus>
    // GoogleTest asks for this name.
    static std::string GetName(int) { // NOLINT(readability-identifier-naming)
        return std::is_same_v<Bus, TcpBus> ? "Tcp" : "Rtu";
    }
};

using Buses = testing::Types<TcpBus, RtuBus>;
TYPED_TEST_SUITE(ModbusSlaveOn, Buses, BusNames);

} // namespace house
