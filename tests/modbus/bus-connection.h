#pragma once

#include "modbus/legacy.h"
#include "support/descriptors.h"
#include "support/log-capture.h"
#include "support/recorded-bus.h"
#include "support/recorded-ioctl.h"

#include "house/pty-pair.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

inline vxModel::SerialPortConfig serialConfig() {
    return {"/dev/any", vxModel::BaudRateType::baud19200, vxModel::Parity::even,
            vxModel::DataBits::bits8, vxModel::StopBits::bits1};
}

/// A meter at address 7 whose one register holds 5, and its map.
inline void liveOn(house::ModbusSlave& slave) {
    slave.unit(7).holding(10, {5});
}

inline vxModel::ElectricityMeterConfig meterConfig() {
    vxModel::ElectricityMeterConfig config;
    config.registers = {vxModel::ModbusRegister{.address = 10,
                                                .fieldType = vxModel::ModbusFieldType::powerImport,
                                                .modbusDataType = vxModel::ModbusDataType::uint16,
                                                .length = 1}};
    return config;
}

inline bool canReadMeter(Reader& reader) {
    reader.connection.m_readings.clear();
    reader.connection.readMeter(7, meterConfig());
    return reader.connection.m_readings.at(7).powerConsumed == 5.0;
}

/// The lines that contain @p text.
inline std::vector<std::string> of(const std::string& text, const std::vector<std::string>& lines) {
    std::vector<std::string> result;
    for (const std::string& line : lines)
        if (line.find(text) != std::string::npos)
            result.push_back(line);
    return result;
}

/// A serial line whose one end is the reader's port.
class SerialBus : public testing::Test {
protected:
    SerialBus() {
        line.linkMasterEnd("/dev/ttymxc2");
        recorded_bus::take();
    }

    void reconnect(const vxModel::SerialPortConfig& config) {
        reader.connection.m_config = config;
        reader.connection.doReconnect();
    }

    /// Descriptors that the reader holds of its port, now or when the port was set up last.
    std::size_t descriptors() const { return openDescriptorsOf(line.masterEnd()) - m_ofTheLine; }
    std::size_t descriptorsAtTheLastSetUp() const {
        return recorded_ioctl::rs485Calls().back().descriptors - m_ofTheLine;
    }

    LogCapture log{LogCapture::Mode::lenient};
    house::PtyPair line;
    Reader reader;

private:
    /// The pair of terminals keeps its own ends open.
    std::size_t m_ofTheLine = openDescriptorsOf(line.masterEnd());
};

class TcpBus : public testing::Test {
protected:
    TcpBus() {
        // The slave made a context of its own.
        recorded_bus::take();
    }

    LogCapture log{LogCapture::Mode::lenient};
    house::ModbusSlave slave{house::TcpPort{}};
    Reader reader;
};
