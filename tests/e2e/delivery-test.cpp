// Asio of this Boost release uses std::exchange without including it.
#include <utility>

#include "e2e/reader-process.h"
#include "e2e/small-home.h"

#include "house/pty-pair.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

using house::LocalServer;
using testing::ElementsAre;

namespace {

constexpr const char* equalSigns = "=================================";

/// A metering service that looks at its connections only when it is told to.
class WatchedService {
public:
    /// When the bytes of a message and when its end were there, as numbers of looks.
    struct Arrival {
        int bytes = 0;
        int end = 0;

        bool operator==(const Arrival&) const = default;
    };

    WatchedService() { m_acceptor.non_blocking(true); }

    void look() {
        ++m_looks;
        boost::system::error_code none;
        for (auto socket = m_acceptor.accept(none); !none; socket = m_acceptor.accept(none)) {
            socket.non_blocking(true);
            m_sockets.push_back(std::move(socket));
        }
        m_arrivals.resize(m_sockets.size());
        for (std::size_t i = 0; i < m_sockets.size(); ++i)
            look(m_sockets[i], m_arrivals[i]);
    }

    const std::vector<Arrival>& arrivals() const { return m_arrivals; }

private:
    using Protocol = boost::asio::local::stream_protocol;

    void look(Protocol::socket& socket, Arrival& arrival) const {
        std::array<char, 4096> bytes{};
        boost::system::error_code ec;
        while (arrival.end == 0 && !ec) {
            if (socket.read_some(boost::asio::buffer(bytes), ec) > 0 && arrival.bytes == 0)
                arrival.bytes = m_looks;
            if (ec == boost::asio::error::eof)
                arrival.end = m_looks;
        }
    }

    boost::asio::io_context m_io;
    Protocol::acceptor m_acceptor{m_io, {"/var/run/orv-metering.sock"}};
    std::vector<Protocol::socket> m_sockets;
    std::vector<Arrival> m_arrivals;
    int m_looks = 0;
};

} // namespace

TEST(Delivery, aReadingTravelsFromTcpMeterToMeteringSocketByteForByte) {
    small_home::OverTcp home;
    ReaderProcess reader;

    ASSERT_TRUE(home.service.waitForMessages(1));

    EXPECT_EQ(withoutTime(home.service.texts().front()), small_home::message);
    EXPECT_EQ(home.slave.transcript().substr(0, std::string(small_home::conversation).size()),
              small_home::conversation);
}

TEST(Delivery, aReadingTravelsFromRtuMeterToMeteringSocketByteForByte) {
    house::LocalServer server;
    small_home::serveOn(server);
    const house::PtyPair line;
    line.linkMasterEnd("/dev/ttymxc2");
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    small_home::liveOn(slave);
    house::MeteringService service;
    ReaderProcess reader;

    ASSERT_TRUE(service.waitForMessages(1));

    EXPECT_EQ(withoutTime(service.texts().front()), small_home::message);
    EXPECT_EQ(slave.transcript().substr(0, std::string(small_home::conversation).size()),
              small_home::conversation);
}

TEST(Delivery, thePollsWholeLogTellsTheRoadOfTheReading) {
    small_home::OverTcp home;
    ReaderProcess reader;

    reader.waitForLog("TRANSFERRED");

    const std::string serial = R"({"serialDevice":/dev/ttyS1,"baudRate":baud19200,)"
                               R"("parity":even,"dataBits":bits8,"stopBits":bits1})";
    const std::string registers =
        R"([{"address":1,"fieldType":serial,"modbusDataType":ascii,"length":2,)"
        R"("scaleValue":1,"registerType":holding},)"
        R"({"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,)"
        R"("scaleValue":1,"registerType":input},)"
        R"({"address":20,"fieldType":energyImport,"modbusDataType":uint32,"length":1,)"
        R"("scaleValue":0.5,"registerType":holding}])";
    EXPECT_THAT(
        linesBetween(reader.log(), "result:", "retry timer"),
        ElementsAre(
            "NOTIC modbusSerial result:" + std::string(small_home::serialConfig) +
                " toolkit.cpp:<line>",
            "NOTIC modbusSerial querySerialConnectionConfig m_config:{} serverConfig.data:" +
                serial + " toolkit.cpp:<line>",
            "NOTIC modbusSerial doReconnect m_config:" + serial + " toolkit.cpp:<line>",
            "NOTIC orvMODBUSConfigFile Load configuration "
            "filePath.string():/etc/modbus-config.json modbus/config-file.cpp:<line>",
            R"(NOTIC modbusSerial Connecting TCP config:{"modbusMiscConfig":{)"
            R"("modbusTCPServer":127.0.0.1,"port":1502}} toolkit.cpp:<line>)",
            "NOTIC modbusSerial Attached Meters result:" + std::string(small_home::attached) +
                " toolkit.cpp:<line>",
            "NOTIC modbusSerial Supported Meters result:" + std::string(small_home::supported) +
                " toolkit.cpp:<line>",
            "NOTIC modbusSerial Cycling meters toolkit.cpp:<line>",
            R"(NOTIC modbusSerial Reading meter meter:{"id":m1,"configId":c1,"serial":S-1,)"
            R"("slaveAddress":7} config:{"id":c1,"registers":)" +
                registers + "} toolkit.cpp:<line>",
            "NOTIC modbusSerial Reading meter slaveAddress:7 meterConfig.registers:" + registers +
                " toolkit.cpp:<line>",
            "NOTIC modbusSerial Reading meter now slaveAddress:7 toolkit.cpp:<line>",
            "NOTIC modbusSerial value:1500 modbusFieldType:powerImport scaleValue:1 "
            "toolkit.cpp:<line>",
            "NOTIC modbusSerial value:2 modbusFieldType:energyImport scaleValue:0.5 "
            "toolkit.cpp:<line>",
            R"(NOTIC modbusSerial Reading aReading:{"id":S-1,"slaveAddress":7,)"
            R"("meteringType":modbus,"lastChanged":<time>,"powerConsumed":1500,)"
            R"("energyConsumed":3.6e+06} toolkit.cpp:<line>)",
            "DEBUG modbusreaderSocketWriter Connect socket-writer.cpp:<line>", equalSigns,
            "NOTIC modbusreaderSocketWriter Writing  m_buffer:" + std::string(small_home::message) +
                " socket-writer.cpp:<line>",
            "NOTIC modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():144 size:144 "
            "socket-writer.cpp:<line>"));
}

TEST(Delivery, theMessageOfAPollLeavesOnlyWhenThePollHasEnded) {
    small_home::OverTcp home;
    ReaderProcess reader;

    ASSERT_TRUE(home.service.waitForMessages(1));
    const auto arrived = home.service.messages().front().arrived;

    // The second of sleep at the poll's end lies between the last request and the write.
    const auto lastRequest =
        home.server.requests(house::LocalServer::supportedPath).front().arrived;
    EXPECT_GE(arrived - lastRequest, std::chrono::milliseconds(1000));
}

TEST(Delivery, fromTheSecondPollOnAMessageEndsOnePollAfterItsBytes) {
    WatchedService service;
    house::LocalServer server;
    small_home::serveOn(server);
    house::ModbusSlave slave{house::TcpPort{small_home::busPort}};
    small_home::liveOn(slave);
    small_home::useTcp();
    // The reader waits for its answer meanwhile, at the very beginning of a poll.
    server.whenRequested([&](const house::Request& request) {
        if (request.path == LocalServer::rtuConfigPath &&
            server.requestCount(LocalServer::rtuConfigPath) <= 5)
            service.look();
    });
    {
        ReaderProcess reader;
        ASSERT_TRUE(server.waitForRequests(LocalServer::attachedPath, 5));
    }

    // The first poll runs before the event loop, and its message is finished before a tick.
    using Arrival = WatchedService::Arrival;
    EXPECT_THAT(service.arrivals(),
                ElementsAre(Arrival{2, 2}, Arrival{3, 4}, Arrival{4, 5}, Arrival{5, 0}));
}

TEST(Delivery, everyPollOffersTheReadingAnewOverOneConnectionThoughNothingChanged) {
    small_home::OverTcp home;
    ReaderProcess reader;

    ASSERT_TRUE(home.service.waitForMessages(3));

    for (const std::string& text : home.service.texts())
        EXPECT_EQ(withoutTime(text), small_home::message);
    EXPECT_EQ(linesWith(reader.log(), "doReconnect").size(), 1);
}
