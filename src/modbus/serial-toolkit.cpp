#include "modbus/serial-toolkit.h"

#include "modbus/config-file.h"
#include "modbus/register-words.h"
#include "modbus/server-replies.h"
#include "vx/date-time.h"
#include "vx/log.h"
#include "vx/record.h"
#include "vx/system.h"

#include <modbus/modbus.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <linux/serial.h>
#include <memory>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace orv::modbusreader {
namespace {

using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

vx::LogChannel channel("modbusSerial", vx::LogSeverity::notice);

/// The one Modbus context of the process; null until the first reconnect.
modbus_t* ctx = nullptr;

// The local server listens on this device only, at a fixed port.
constexpr const char* serialConfigUrl =
    "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/rtuconfig";
constexpr const char* attachedMetersUrl =
    "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/attached";
constexpr const char* supportedMetersUrl =
    "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/config/supported";
constexpr long httpOk = 200;

using Type = ModbusFieldType;
using Record = ModbusMeteringSystem;

/// A power or an energy: the member of the record that its register fills, and in which unit.
struct MeasuredField {
    ModbusFieldType fieldType;
    /// Null for powerImport, which `convertPowerImport` stores in one of two members by its sign.
    float (*scale)(float value, float scaleValue);
    double ModbusMeteringSystem::*member;
    /// Whether the member keeps its previous value when the register could not be read.
    bool carried;
};

// A failed powerExport carries nothing, unlike powerImport: an export that can't be read counts as
// none. Neither the id nor tariffEnabled is ever carried.
constexpr MeasuredField measuredFields[] = {
    {Type::powerImport, nullptr, &Record::powerConsumed, true},
    {Type::powerImport, nullptr, &Record::powerProduced, true},
    {Type::powerExport, scalePower, &Record::powerProduced, false},
    {Type::energyImport, scaleEnergy, &Record::energyConsumed, true},
    {Type::energyExport, scaleEnergy, &Record::energyProduced, true},
    {Type::energyImportTariff1, scaleEnergy, &Record::t1EnergyConsumed, true},
    {Type::energyImportTariff2, scaleEnergy, &Record::t2EnergyConsumed, true},
    {Type::energyImportTariff3, scaleEnergy, &Record::t3EnergyConsumed, true},
    {Type::energyImportTariff4, scaleEnergy, &Record::t4EnergyConsumed, true},
    {Type::energyImportTariff5, scaleEnergy, &Record::t5EnergyConsumed, true},
    {Type::energyImportTariff6, scaleEnergy, &Record::t6EnergyConsumed, true},
    {Type::energyExportTariff1, scaleEnergy, &Record::t1EnergyProduced, true},
    {Type::energyExportTariff2, scaleEnergy, &Record::t2EnergyProduced, true},
    {Type::energyExportTariff3, scaleEnergy, &Record::t3EnergyProduced, true},
    {Type::energyExportTariff4, scaleEnergy, &Record::t4EnergyProduced, true},
    {Type::energyExportTariff5, scaleEnergy, &Record::t5EnergyProduced, true},
    {Type::energyExportTariff6, scaleEnergy, &Record::t6EnergyProduced, true},
};

void carryForward(ModbusMeteringSystem& reading, const ModbusMeteringSystem& previous,
                  ModbusFieldType failedField) {
    bool any = false;
    for (const auto& [fieldType, scale, member, carried] : measuredFields) {
        if (fieldType != failedField || !carried)
            continue;
        reading.*member = previous.*member;
        any = true;
    }
    if (any)
        VX_LOG(channel, notice, "Interpolating field", failedField);
}

} // namespace

// The poll

void SerialConnection::start() {
    m_busy = true;
    VX_LOG(channel, debug, "Main loop is alive");
    querySerialConnectionConfig();
    doRead();
    sleep(1);
    m_busy = false;
}

void SerialConnection::querySerialConnectionConfig() {
    std::string result;
    const long code = m_httpClient.get(serialConfigUrl, &result, false);
    if (code != httpOk) {
        VX_LOG(channel, warning, "Error requesting from server", code, result);
        return;
    }
    VX_LOG(channel, notice, result);
    try {
        const auto serverConfig = vx::fromJson<SerialPortConfigReply>(result.c_str());
        VX_LOG(channel, notice, "querySerialConnectionConfig", m_config, serverConfig.data);
        if (m_config != serverConfig.data) {
            m_config = serverConfig.data;
            doReconnect();
        }
    } catch (const std::exception& e) {
        VX_LOG(channel, warning, "Could not convert reply", e);
    }
}

// The bus connection

/// The names of the serial parameters.
struct SerialNames {
    std::string baudRate;
    std::string stopBits;
    std::string dataBits;
    std::string parity;
};

namespace {

bool isComplete(const SerialNames& names) {
    constexpr std::size_t shortest = 5;
    return names.baudRate.size() >= shortest && names.stopBits.size() >= shortest &&
           names.dataBits.size() >= shortest && !names.parity.empty();
}

/// Number at the end of an enumerator's name: 9600 of "baud9600", 1 of "bits1".
int numberOfName(const std::string& name) {
    constexpr std::size_t wordSize = 4;
    return static_cast<int>(std::strtol(name.c_str() + wordSize, nullptr, 10));
}

void configureRs485(const char* serialDevice) {
    serial_rs485 conf{};
    // Left open on purpose: the setting belongs to the tty and must survive the library's own open
    // and close of the device. O_NOCTTY, as the device must not become the terminal of the process:
    // a hang-up, or a certain byte on the bus, could end it then.
    const int fd = open(serialDevice, O_RDWR | O_NOCTTY);
    conf.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    if (fd == -1 || ioctl(fd, TIOCSRS485, &conf) == -1)
        VX_LOG(channel, error, "RS485 could not be configured", serialDevice);
}

void setTimeouts(const orv::modbus::ModbusMiscConfig& config) {
    constexpr std::uint32_t defaultSeconds = 5;
    const auto secondsOr = [](std::int32_t seconds) {
        return seconds == 0 ? defaultSeconds : static_cast<std::uint32_t>(seconds);
    };
    modbus_set_response_timeout(ctx, secondsOr(config.timeoutResponseSec), 0);
    modbus_set_indication_timeout(ctx, secondsOr(config.timeoutIndicationSec), 0);
}

/// Closes the connection and leaves no context behind, so that reads fail if something throws
/// before the next one is made.
void closeBus() {
    modbus_close(ctx);
    modbus_free(ctx);
    ctx = nullptr;
}

void connectTcp(const orv::modbus::ConfigFile& config) {
    VX_LOG(channel, notice, "Connecting TCP", config);
    closeBus();
    const auto& server = config.modbusMiscConfig;
    ctx = modbus_new_tcp(server.modbusTCPServer.c_str(), server.port);
    if (modbus_connect(ctx) == -1)
        VX_LOG(channel, warning, "Could not connect TCP", strerror(errno));
    setTimeouts(server);
}

} // namespace

void SerialConnection::doReconnect() {
    VX_LOG(channel, notice, "doReconnect", m_config);
    const SerialNames names{vx::str("", m_config.baudRate), vx::str("", m_config.stopBits),
                            vx::str("", m_config.dataBits), vx::str("", m_config.parity)};
    const auto config = orv::modbus::loadConfigFile(vx::system());
    if (!config.modbusMiscConfig.modbusTCPServer.empty())
        connectTcp(config);
    else
        connectSerial(names, config.modbusMiscConfig);
}

void SerialConnection::connectSerial(const SerialNames& names,
                                     const orv::modbus::ModbusMiscConfig& timeouts) const {
    // An incomplete configuration doesn't disturb a working connection.
    if (!isComplete(names))
        return;

    // The port is a property of the hardware; the server's device name opens nothing.
    constexpr const char* serialDevice = "/dev/ttymxc2";
    VX_LOG(channel, notice, vx::str("", m_config.baudRate));
    const int baud = numberOfName(names.baudRate);
    VX_LOG(channel, notice, vx::str("", m_config.stopBits));
    const int stopBits = numberOfName(names.stopBits);
    VX_LOG(channel, notice, vx::str("", m_config.dataBits));
    const int dataBits = numberOfName(names.dataBits);
    VX_LOG(channel, notice, vx::str("", m_config.parity));
    const char parity = static_cast<char>(std::toupper(names.parity.front()));
    VX_LOG(channel, notice, "Modbus serial device connecting", serialDevice, baud, parity, dataBits,
           stopBits);
    closeBus();
    configureRs485(serialDevice);
    // The stop bits stand in both places: the line always runs at eight data bits, as the library
    // takes any count but 5, 6 and 7 for 8. Meters in the field are set up for that.
    ctx = modbus_new_rtu(serialDevice, baud, parity, stopBits, stopBits);
    if (modbus_connect(ctx) == -1)
        VX_LOG(channel, warning, "Could not connect serial", strerror(errno));
    setTimeouts(timeouts);
}

// The meters

void SerialConnection::doRead() {
    refreshAttachedMeters();
    std::string result;
    const long code = m_httpClient.get(supportedMetersUrl, &result, false);
    if (code != httpOk) {
        VX_LOG(channel, warning, "Error requesting from server", code, result);
        return;
    }
    try {
        VX_LOG(channel, notice, "Supported Meters", result);
        const auto supported = vx::fromJson<MeterConfigReply>(result.c_str()).data;
        cycleMeters(supported);
    } catch (const std::exception& e) {
        VX_LOG(channel, warning, "Could not convert reply", e);
    }
}

void SerialConnection::refreshAttachedMeters() {
    std::string result;
    const long code = m_httpClient.get(attachedMetersUrl, &result, false);
    VX_LOG(channel, notice, "Attached Meters", result);
    if (code != httpOk) {
        VX_LOG(channel, warning, "Error requesting from server", code, result);
        return;
    }
    try {
        // Emptied before the conversion: a reply that can't be read leaves no stale list.
        m_attachedMeters.clear();
        m_attachedMeters = vx::fromJson<AttachedMetersReply>(result.c_str()).data;
    } catch (const std::exception& e) {
        VX_LOG(channel, warning, "Could not convert reply", e);
    }
}

void SerialConnection::cycleMeters(const std::vector<vxModel::ElectricityMeterConfig>& supported) {
    VX_LOG(channel, notice, "Cycling meters");
    for (const vxModel::ModbusMeter& meter : m_attachedMeters) {
        VX_LOG(channel, debug, meter);
        for (const vxModel::ElectricityMeterConfig& config : supported) {
            VX_LOG(channel, debug, config);
            VX_LOG(channel, debug, "Comparison ", config.id, meter.configId);
            if (config.id != meter.configId)
                continue;
            VX_LOG(channel, notice, "Reading meter", meter, config);
            readMeter(meter.slaveAddress, config);
        }
    }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): each read has a copy of its own
void SerialConnection::readMeter(int slaveAddress, vxModel::ElectricityMeterConfig meterConfig) {
    ModbusMeteringSystem aReading;
    aReading.slaveAddress = static_cast<std::uint8_t>(slaveAddress);
    VX_LOG(channel, notice, "Reading meter", slaveAddress, meterConfig.registers);
    aReading.lastChanged = vx::now();
    aReading.meteringType = "modbus";
    VX_LOG(channel, notice, "Reading meter now", slaveAddress);

    std::vector<ModbusFieldType> failedFields;
    for (const ModbusRegister& aRegister : meterConfig.registers)
        if (!readRegister(aReading, slaveAddress, aRegister))
            failedFields.push_back(aRegister.fieldType);

    // After all decoding, so that a carried power wins over one decoded in this poll. Addresses
    // with the same low eight bits share a record.
    const int key = aReading.slaveAddress;
    if (const auto previous = m_readings.find(key); previous != m_readings.end())
        for (const ModbusFieldType failedField : failedFields)
            carryForward(aReading, previous->second, failedField);
    m_readings[key] = aReading;
    VX_LOG(channel, notice, "Reading", aReading);
    if (!aReading.id.empty())
        m_senderQueue.send(vx::toJson(vx::toJsonFragment(aReading)));
}

namespace {

/// Number of words that a register has on the bus.
int wordCount(const ModbusRegister& aRegister) {
    return aRegister.length * dataCountMultiplier(aRegister.modbusDataType);
}

/// Reads the words of a register from the slave that was set before. Returns -1 with `errno` on
/// failure.
int readWords(const ModbusRegister& aRegister, RegisterBuffer& buffer) {
    // The library aborts the process on a read from a serial line whose slave was never set, as
    // when it refused the first address.
    if (modbus_get_slave(ctx) == -1) {
        errno = EINVAL;
        return -1;
    }
    const auto readRegisters = aRegister.registerType == ModbusRegisterType::input
                                   ? modbus_read_input_registers
                                   : modbus_read_registers;
    return readRegisters(ctx, aRegister.address, wordCount(aRegister), buffer.data());
}

} // namespace

bool SerialConnection::readRegister(ModbusMeteringSystem& reading, int slaveAddress,
                                    const ModbusRegister& aRegister) {
    RegisterBuffer buffer{};
    VX_LOG(channel, debug, "Reading register", aRegister);
    VX_LOG(channel, debug, "Reading register params", aRegister.address,
           aRegister.length * dataCountMultiplier(aRegister.modbusDataType));
    if (aRegister.fieldType == ModbusFieldType::serial && takeAttachedSerial(reading, slaveAddress))
        return true;

    modbus_set_slave(ctx, slaveAddress);
    usleep(m_readIntervalUSec);
    if (readWords(aRegister, buffer) == -1) {
        VX_LOG(channel, warning, "Could not read register", strerror(errno), aRegister);
        return false;
    }
    // This text is built even if it isn't logged.
    const std::string debug = wordsText(buffer, static_cast<std::size_t>(wordCount(aRegister)));
    VX_LOG(channel, debug, "ARRAY", debug);
    decodeRegister(reading, buffer.data(), aRegister);
    return true;
}

bool SerialConnection::takeAttachedSerial(ModbusMeteringSystem& reading, int slaveAddress) const {
    const auto meter = std::find_if(m_attachedMeters.begin(), m_attachedMeters.end(),
                                    [&](const vxModel::ModbusMeter& x) {
                                        return x.slaveAddress == slaveAddress && !x.serial.empty();
                                    });
    if (meter != m_attachedMeters.end())
        reading.id = metering::readings::MeterId(meter->serial);
    return !reading.id.empty();
}

// Decoding

namespace {

bool isMeasured(ModbusFieldType fieldType) {
    return std::any_of(std::begin(measuredFields), std::end(measuredFields),
                       [=](const MeasuredField& x) { return x.fieldType == fieldType; });
}

bool isTextOrSwitch(ModbusFieldType fieldType) {
    return fieldType >= ModbusFieldType::model && fieldType <= ModbusFieldType::tariffEnabled;
}

} // namespace

void decodeRegister(ModbusMeteringSystem& reading, const std::uint16_t* words,
                    const ModbusRegister& aRegister) {
    const ModbusDataType type = aRegister.modbusDataType;
    const bool isSerial = aRegister.fieldType == ModbusFieldType::serial;
    if (isSerial && type == ModbusDataType::ascii)
        reading.id = metering::readings::MeterId(decodeText(words, aRegister.length));
    if (isSerial && type == ModbusDataType::uint32)
        reading.id = metering::readings::MeterId(std::to_string(unsigned32(words)));
    // A field that is not measured is converted from a uint16 only.
    if (!isMeasured(aRegister.fieldType) &&
        !(type == ModbusDataType::uint16 && isTextOrSwitch(aRegister.fieldType)))
        return;
    if (const auto value = decodeNumber(words, type))
        convertField(reading, *value, aRegister.fieldType, aRegister.scaleValue);
}

// Conversion

float scalePower(float value, float scaleValue) {
    VX_LOG(channel, debug, scaleValue, value);
    return value * scaleValue;
}

float scaleEnergy(float value, float scaleValue) {
    VX_LOG(channel, debug, scaleValue, value);
    constexpr float secondsPerHour = 3600.0F;
    constexpr float wattsPerKilowatt = 1000.0F;
    return value * scaleValue * secondsPerHour * wattsPerKilowatt;
}

namespace {

/// One signed register describes the flow in both directions. What is not above zero, a NaN
/// included, is production.
void convertPowerImport(ModbusMeteringSystem& reading, float value, float scaleValue) {
    VX_LOG(channel, debug, "power conversion", value, scaleValue);
    value = scalePower(value, scaleValue);
    VX_LOG(channel, debug, "power conversion after ", value);
    if (value > 0)
        reading.powerConsumed = value;
    else
        reading.powerProduced = -value;
}

} // namespace

void convertField(ModbusMeteringSystem& reading, float value, ModbusFieldType modbusFieldType,
                  float scaleValue) {
    VX_LOG(channel, notice, value, modbusFieldType, scaleValue);
    if (modbusFieldType == ModbusFieldType::powerImport)
        convertPowerImport(reading, value, scaleValue);
    if (modbusFieldType == ModbusFieldType::tariffEnabled) {
        VX_LOG(channel, debug, "Tariff", value);
        reading.tariffEnabled = value > 0;
    }
    for (const auto& [fieldType, scale, member, carried] : measuredFields)
        if (fieldType == modbusFieldType && scale != nullptr)
            reading.*member = scale(value, scaleValue);
}

// The delivery

SenderQueue::SenderQueue(boost::asio::io_context& ioContext, std::string socketPath)
    : m_ioContext(ioContext), m_socketPath(std::move(socketPath)) {}

void SenderQueue::send(std::string message) {
    std::make_shared<SocketClient>(m_ioContext, m_socketPath)->send(std::move(message));
}

} // namespace orv::modbusreader
