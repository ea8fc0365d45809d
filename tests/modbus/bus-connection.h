#pragma once

#include "modbus/reader-world.h"
#include "support/descriptors.h"
#include "support/lines.h"

#include <string>
#include <string_view>
#include <vector>

inline const vxModel::SerialPortConfig serialConfig = {
    "/dev/any", vxModel::BaudRateType::baud19200, vxModel::Parity::even, vxModel::DataBits::bits8,
    vxModel::StopBits::bits1};

/// A meter on the bus at the slave address 7, whose one register holds 5.
class BusConnection : public ReaderWorld {
protected:
    static void putMeterOn(house::ModbusSlave& slave) { slave.unit(7).holding(10, {5}); }

    void readMeter(int slaveAddress, const std::vector<std::uint16_t>& addresses = {10}) {
        vxModel::ElectricityMeterConfig config;
        for (const std::uint16_t address : addresses)
            config.registers.push_back({.address = address,
                                        .fieldType = vxModel::ModbusFieldType::powerImport,
                                        .modbusDataType = vxModel::ModbusDataType::uint16,
                                        .length = 1});
        reader.connection.readMeter(slaveAddress, config);
    }

    bool canReadMeter() {
        reader.connection.m_readings.clear();
        readMeter(7);
        return reader.connection.m_readings.at(7).powerConsumed == 5.0;
    }

    /// The warning of the meter's register.
    static std::string unreadable(const std::string& reason) {
        return "warning modbusSerial Could not read register strerror((*__errno_location ())):" +
               reason +
               R"( aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,)"
               R"("length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>)";
    }

    /// What the reader did to its connection so far, as far as it contains @p text. The rest is
    /// forgotten.
    std::vector<std::string> calls(std::string_view text) {
        return linesWith(m_transcript.takeAll(Transcript::Kind::call), text);
    }
};

/// A reader with a serial line.
class SerialBus : public BusConnection {
protected:
    SerialBus() {
        useLine();
        putMeterOn(*bus);
        // The slave asks the library for its own connection.
        forget();
        m_ofTheLine = openDescriptorsOf(serialLine->masterEnd());
    }

    /// What a reconnect with these parameters does to the connection, in this order.
    static constexpr const char* reconnection = R"(-- close
-- free
-- rs485 read-write flags 3 delays 0 0
-- connect rtu /dev/ttymxc2 19200 E 1 1
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
)";

    void reconnect(const vxModel::SerialPortConfig& config = serialConfig) {
        reader.connection.m_config = config;
        reader.connection.doReconnect();
    }

    /// Descriptors that the reader holds of its port.
    std::size_t descriptors() const {
        return openDescriptorsOf(serialLine->masterEnd()) - m_ofTheLine;
    }

private:
    /// The pair of terminals keeps its own ends open.
    std::size_t m_ofTheLine;
};

/// A reader whose configuration file names a server.
class TcpBus : public BusConnection {
protected:
    TcpBus() { putMeterOn(*bus); }
};
