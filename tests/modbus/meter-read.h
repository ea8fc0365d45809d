#pragma once

#include "modbus/reader-world.h"

#include <cstdint>
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

/// Reads of one meter, which the local server is not asked for.
class MeterReadWithoutAConnection : public ReaderWorld {
protected:
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
        deliver();
    }

    /// The record kept for a slave address.
    const orv::modbusreader::ModbusMeteringSystem& kept(int slaveAddress) {
        return reader.connection.m_readings.at(slaveAddress);
    }
};

/// The account begins with the first read.
class MeterRead : public MeterReadWithoutAConnection {
protected:
    MeterRead() {
        reader.connection.doReconnect();
        forget();
    }
};
