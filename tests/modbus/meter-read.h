#pragma once

#include "modbus/legacy.h"
#include "support/log-capture.h"
#include "support/recorded-bus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

inline vxModel::ModbusRegister
reg(std::uint16_t address, vxModel::ModbusFieldType fieldType, vxModel::ModbusDataType type,
    std::uint8_t length = 1,
    vxModel::ModbusRegisterType space = vxModel::ModbusRegisterType::holding) {
    return {.address = address,
            .fieldType = fieldType,
            .modbusDataType = type,
            .length = length,
            .scaleValue = 1.0F,
            .registerType = space};
}

/// The record of a read that brought nothing.
inline orv::modbusreader::ModbusMeteringSystem
emptyRecord(std::uint8_t slaveAddress, std::chrono::system_clock::time_point lastChanged) {
    return {.slaveAddress = slaveAddress, .meteringType = "modbus", .lastChanged = lastChanged};
}

/// A reader on a TCP bus, with the metering service listening. The log and the calls of the bus
/// begin with the first read.
class MeterRead : public testing::Test {
protected:
    MeterRead() {
        useTcp(slave);
        reader.connection.doReconnect();
        reader.connection.m_readIntervalUSec = 0;
        log.take();
        recorded_bus::take();
    }

    void attach(int slaveAddress, const std::string& serial) {
        vxModel::ModbusMeter meter;
        meter.slaveAddress = slaveAddress;
        meter.serial = serial;
        reader.connection.m_attachedMeters.push_back(meter);
    }

    /// One read of the meter and its delivery.
    void read(int slaveAddress, const std::vector<vxModel::ModbusRegister>& registers) {
        vxModel::ElectricityMeterConfig config;
        config.registers = registers;
        reader.connection.readMeter(slaveAddress, config);
        reader.deliver();
    }

    /// The bus conversation and the messages so far, one below the other.
    std::string transcript(std::size_t messages) {
        EXPECT_TRUE(service.waitForMessages(messages));
        std::string text = slave.transcript();
        for (const std::string& message : service.texts())
            text += "=  " + withoutTime(message) + "\n";
        return text;
    }

    /// The record kept for a slave address.
    const orv::modbusreader::ModbusMeteringSystem& kept(int slaveAddress) {
        return reader.connection.m_readings.at(slaveAddress);
    }

    /// The log lines so far, in which the moment of a record reads `<time>`.
    std::vector<std::string> lines() {
        std::vector<std::string> lines = log.take();
        for (std::string& line : lines)
            line = withoutTime(line);
        return lines;
    }

    /// The log lines so far that contain @p text; the others are forgotten.
    std::vector<std::string> linesWith(const std::string& text) {
        std::vector<std::string> lines = log.take();
        std::erase_if(
            lines, [&](const std::string& line) { return line.find(text) == std::string::npos; });
        return lines;
    }

    /// The log lines so far that tell of a value carried forward; the others are forgotten.
    std::vector<std::string> interpolations() { return linesWith("Interpolating"); }

    LogCapture log{LogCapture::Mode::lenient};
    house::ModbusSlave slave{house::TcpPort{}};
    house::MeteringService service;
    Reader reader;
};
