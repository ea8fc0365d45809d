#pragma once

#include "http-client.h"
#include "metering/readings.h"
#include "modbus/socket-writer.h"
#include "model/modbus.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace orv::modbus {

struct ModbusMiscConfig;

} // namespace orv::modbus

namespace orv::modbusreader {

using metering::readings::ModbusMeteringSystem;

struct SerialNames;

/// The way to the metering service: each message gets a client and a connection of its own at once.
/// Despite the name nothing is queued here; what is pending lives in the handlers of the event
/// loop, which must outlive this object.
class SenderQueue {
public:
    /// Messages go to the Unix stream socket at @p socketPath.
    SenderQueue(boost::asio::io_context& ioContext, std::string socketPath);

    /// Returns before a byte is written. Whether the message arrives shows only in the log. Throws
    /// as the constructor of `SocketClient` if the path is too long.
    void send(std::string message);

private:
    boost::asio::io_context& m_ioContext;
    std::string m_socketPath;
};

/// @p value times @p scaleValue, in single precision.
float scalePower(float value, float scaleValue);

/// @p value times @p scaleValue is an energy in kilowatt-hours; returns it in watt-seconds. Each
/// step in single precision.
float scaleEnergy(float value, float scaleValue);

/// Scales @p value and stores it in the member of @p reading that @p modbusFieldType names; a type
/// that names none is ignored. A power import that is not above zero counts as production.
void convertField(ModbusMeteringSystem& reading, float value,
                  vxModel::ModbusFieldType modbusFieldType, float scaleValue);

/// Decodes the words of one successful read, most significant word first, into @p reading: the
/// serial into its id, any other field as `convertField` does. A numeric type decodes one value,
/// whatever the register's length, and needs the words of that one; `ascii` takes `length` words. A
/// data type that doesn't fit the field has no effect.
void decodeRegister(ModbusMeteringSystem& reading, const std::uint16_t* words,
                    const vxModel::ModbusRegister& aRegister);

/// The bus and the state that survives a poll. Everything runs on the thread of the event loop and
/// blocks it. What fails is logged, and the next poll asks server and meters anew. There is one
/// Modbus context in the process, so only one object of this class is of use.
class SerialConnection {
public:
    /// One poll: asks the local server, reads all meters, and blocks for one second more.
    void start();
    /// Takes the serial parameters from the local server and reconnects if they changed. They count
    /// as accepted before that, so a reconnect that fails is not tried again until they change
    /// anew.
    void querySerialConnectionConfig();
    /// Rebuilds the Modbus context: TCP if the configuration file names a server, else RTU. With an
    /// incomplete set of serial parameters RTU keeps the context that there is. A connect that
    /// fails is logged. Throws as `loadConfigFile`.
    void doReconnect();
    /// Takes meters and models from the local server and reads each meter with its models. If the
    /// server doesn't answer, the list of meters stays as it was; if its answer can't be read, the
    /// list is empty. Without models nothing is read.
    void doRead();
    /// Reads one meter and offers its record to the metering service, if its id is known. For a
    /// register that can't be read the last record gives the value, where the field is one that may
    /// be carried forward.
    void readMeter(int slaveAddress, vxModel::ElectricityMeterConfig meterConfig);

    orv::HttpClient m_httpClient;
    /// The serial parameters last accepted from the local server.
    vxModel::SerialPortConfig m_config;
    boost::asio::io_context& m_ioContext;
    SenderQueue& m_senderQueue;
    /// List of the last "attached" reply; empty after one that can't be read.
    std::vector<vxModel::ModbusMeter> m_attachedMeters = {};
    /// Last record of each slave address.
    std::unordered_map<int, ModbusMeteringSystem> m_readings = {};
    /// Whether a poll is in progress.
    bool m_busy = false;
    /// Pause in microseconds before every register read. The configuration file doesn't set it.
    std::uint32_t m_readIntervalUSec = 20000;

private:
    void connectSerial(const SerialNames& names, const modbus::ModbusMiscConfig& timeouts) const;
    void refreshAttachedMeters();
    void cycleMeters(const std::vector<vxModel::ElectricityMeterConfig>& supported);
    /// Returns whether the register was read or needed no reading.
    bool readRegister(ModbusMeteringSystem& reading, int slaveAddress,
                      const vxModel::ModbusRegister& aRegister);
    /// Gives the record the serial from the list of attached meters, if it stands there. Returns
    /// whether the record has an id, also one from an earlier register.
    bool takeAttachedSerial(ModbusMeteringSystem& reading, int slaveAddress) const;
};

} // namespace orv::modbusreader
