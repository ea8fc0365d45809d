#pragma once

#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "modbus/serial-toolkit.h"

#include <boost/asio/io_context.hpp>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

/// A connection with the queue and the loop that `main` gives it.
struct Reader {
    boost::asio::io_context ioContext;
    orv::modbusreader::SenderQueue senderQueue{ioContext, "/var/run/orv-metering.sock"};
    orv::modbusreader::SerialConnection connection{
        orv::HttpClient(false), {}, ioContext, senderQueue};

    /// Lets the messages of the poll go out.
    void deliver() {
        ioContext.restart();
        ioContext.run();
    }
};

inline void writeConfigFile(const std::string& text) {
    std::ofstream("/etc/modbus-config.json") << text;
}

/// Configuration file that sends the reader to the Modbus TCP server @p slave.
inline void useTcp(const house::ModbusSlave& slave) {
    writeConfigFile(vx::str(
        R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","timeoutResponseSec":1,"port":)",
        slave.port(), "}}"));
}

/// Text in which the moment of a message reads `<time>`.
inline std::string withoutTime(const std::string& message) {
    static const std::regex time(R"((lastChanged":"?)\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)");
    return std::regex_replace(message, time, "$1<time>");
}
