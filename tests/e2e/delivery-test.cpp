#include "e2e/reader-process.h"
#include "e2e/small-home.h"

#include "house/pty-pair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

constexpr const char* equalSigns = "=================================";

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

TEST(Delivery, everyPollOffersTheReadingAnewOverOneConnectionThoughNothingChanged) {
    small_home::OverTcp home;
    ReaderProcess reader;

    ASSERT_TRUE(home.service.waitForMessages(3));

    for (const std::string& text : home.service.texts())
        EXPECT_EQ(withoutTime(text), small_home::message);
    EXPECT_EQ(linesWith(reader.log(), "doReconnect").size(), 1);
}
