#pragma once

#include "inspector-program.h"

#include "house/modbus-slave.h"
#include "house/pty-pair.h"
#include "support/temporary-directory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace inspector {

enum class BusKind { tcp, serial };

/// A bus with one meter at the address 7: its serial "S-1" in the holding registers 0 and 1, its
/// power in the input register 10 and its energy in the holding registers 20 and 21. The map is in
/// a file.
class MeterOnBus : public testing::TestWithParam<BusKind> {
protected:
    MeterOnBus();

    /// @p arguments, and what leads to the bus.
    std::vector<std::string> onBus(std::vector<std::string> arguments) const;
    ProgramResult runOnBus(std::vector<std::string> arguments) const;
    /// `read` of that meter under that map.
    ProgramResult readMeter(std::vector<std::string> arguments = {}) const;
    house::ModbusSlave& bus() const { return *m_bus; }
    house::ModbusSlave::Unit meter() const { return m_bus->unit(7); }
    bool isSerial() const { return m_serialLine != nullptr; }
    /// Of the serial line.
    std::string device() const { return m_serialLine->masterEnd(); }

    TemporaryDirectory files;
    std::string map;

private:
    std::unique_ptr<house::PtyPair> m_serialLine;
    std::unique_ptr<house::ModbusSlave> m_bus;
};

/// Text for people without what differs from run to run: moments are "MOMENT", durations "TIME",
/// and the blanks of a table are two.
std::string withoutTimes(const std::string& text);

/// The tests of @p suite on both kinds of line.
#define INSPECTOR_ON_BOTH_LINES(suite)                                                             \
    INSTANTIATE_TEST_SUITE_P(                                                                      \
        Line, suite, testing::Values(BusKind::tcp, BusKind::serial), [](const auto& test) {        \
            return std::string(test.param == BusKind::tcp ? "tcp" : "serial");                     \
        })

} // namespace inspector
