#pragma once

#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"

#include <fstream>
#include <string>

// A home of one meter with three registers, small enough to read whole logs and conversations.

namespace small_home {

constexpr std::uint16_t busPort = 1502;

constexpr const char* serialConfig =
    R"({"data":{"serialDevice":"/dev/ttyS1","baudRate":"baud19200","parity":"even",)"
    R"("dataBits":"bits8","stopBits":"bits1"}})";
constexpr const char* attached =
    R"({"data":[{"id":"m1","configId":"c1","serial":"S-1","slaveAddress":7}]})";
constexpr const char* supported =
    R"({"data":[{"id":"c1","registers":[)"
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":2},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1,"registerType":"input"},)"
    R"({"address":20,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.5}]}]})";

/// The message of a good read, but for its moment.
constexpr const char* message =
    R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
    R"("powerConsumed":1500.0,"energyConsumed":3600000.0})";

/// The bus conversation of a good read: the serial comes from the list and is not asked for.
constexpr const char* conversation = R"(>> unit 7  read input 10 x1
<< 05DC
>> unit 7  read holding 20 x2
<< 0000 0002
)";

inline void serveOn(house::LocalServer& server) {
    server.serve(house::LocalServer::rtuConfigPath, serialConfig);
    server.serve(house::LocalServer::attachedPath, attached);
    server.serve(house::LocalServer::supportedPath, supported);
}

inline void liveOn(house::ModbusSlave& slave) {
    slave.unit(7).input(10, {1500}).holding(20, {0, 2});
}

inline void writeConfigFile(const std::string& text) {
    std::ofstream("/etc/modbus-config.json") << text;
}

/// Sends the reader to the Modbus TCP server of the test.
inline void useTcp() {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502}})");
}

/// The whole home, with its meter on a TCP bus.
struct OverTcp {
    OverTcp() {
        serveOn(server);
        liveOn(slave);
        useTcp();
    }

    house::LocalServer server;
    house::ModbusSlave slave{house::TcpPort{busPort}};
    house::MeteringService service;
};

} // namespace small_home
