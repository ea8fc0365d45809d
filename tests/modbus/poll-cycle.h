#pragma once

#include "modbus/reader-world.h"
#include "support/log-capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A reader, its local server on 127.0.0.1:8088, and two meters on a TCP bus.
class PollCycle : public testing::Test {
protected:
    using LocalServer = house::LocalServer;

    PollCycle() {
        server.serve(LocalServer::rtuConfigPath,
                     R"({"data":{"serialDevice":"/dev/a","baudRate":"baud9600"}})");
        server.serve(LocalServer::attachedPath,
                     R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7},)"
                     R"({"configId":"c","serial":"S-8","slaveAddress":8}]})");
        server.serve(LocalServer::supportedPath,
                     R"({"data":[{"id":"c","registers":[)"
                     R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":1},)"
                     R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16",)"
                     R"("length":1}]}]})");
        slave.unit(7).holding(10, {70}).holding(11, {71});
        slave.unit(8).holding(10, {80}).holding(11, {81});
        useTcp(slave);
        reader.connection.m_readIntervalUSec = 0;
    }

    /// A poll without its last second.
    std::vector<std::string> poll() {
        reader.connection.querySerialConnectionConfig();
        reader.connection.doRead();
        return log.take();
    }

    /// The conversation of a good poll.
    static constexpr const char* readBoth = R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 8  read holding 10 x1
<< 0050
)";

    LogCapture log{LogCapture::Mode::lenient};
    LocalServer server;
    house::ModbusSlave slave{house::TcpPort{}};
    Reader reader;
};

inline std::vector<std::string> with(const std::string& text,
                                     const std::vector<std::string>& lines) {
    std::vector<std::string> result;
    for (const std::string& line : lines)
        if (line.find(text) != std::string::npos)
            result.push_back(line);
    return result;
}
