#include "modbus/poll-cycle.h"
#include "support/recorded-bus.h"
#include "support/recorded-sleep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

// Which meters a poll reads, with which models, and what it offers of them.

namespace {

std::vector<std::string> timelessTexts(const house::MeteringService& service) {
    std::vector<std::string> texts;
    for (const std::string& text : service.texts())
        texts.push_back(withoutTime(text));
    return texts;
}

} // namespace

TEST_F(PollCycle, readsTheMetersOneAfterAnotherInListOrder) {
    poll();

    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, nothingComesBetweenTheReadsOfTwoMeters) {
    poll();
    recorded_bus::take();
    std::vector<unsigned> sleeps;
    const recorded_sleep::Observer observer([&](unsigned seconds) { sleeps.push_back(seconds); });

    poll();

    EXPECT_THAT(recorded_bus::take(),
                ElementsAre("modbus_set_slave 7", "usleep 0", "modbus_read_registers 10 x1",
                            "modbus_set_slave 8", "usleep 0", "modbus_read_registers 10 x1"));
    EXPECT_THAT(sleeps, IsEmpty());
}

TEST_F(PollCycle, eachMeterIsReadWithAllItsModelsBeforeTheNextMeter) {
    server.serve(LocalServer::supportedPath,
                 R"({"data":[{"id":"c","registers":[{"address":10,"length":1}]},)"
                 R"({"id":"c","registers":[{"address":11,"length":1}]}]})");

    poll();

    EXPECT_EQ(slave.transcript(), R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 7  read holding 11 x1
<< 0047
>> unit 8  read holding 10 x1
<< 0050
>> unit 8  read holding 11 x1
<< 0051
)");
}

TEST_F(PollCycle, aMeterWithoutAModelIsSkippedWithNothingAboveDebug) {
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"configId":"C","slaveAddress":7},)"
                 R"({"configId":"c ","slaveAddress":7},{"configId":" c","slaveAddress":7},)"
                 R"({"configId":"c1","slaveAddress":7},{"configId":"","slaveAddress":7}]})");

    const auto lines = poll();

    EXPECT_EQ(lines.back(), "notice modbusSerial Cycling meters toolkit.cpp:<line>");
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, anEmptyConfigIdMatchesAnEmptyModelId) {
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"slaveAddress":7},{"configId":"c","slaveAddress":8}]})");
    server.serve(LocalServer::supportedPath,
                 R"({"data":[{"registers":[{"address":10,"length":1}]}]})");

    poll();

    EXPECT_EQ(slave.transcript(), ">> unit 7  read holding 10 x1\n<< 0046\n");
}

TEST_F(PollCycle, twoModelsOfOneIdCauseTwoReadsAndTwoRecordsOfTheMeter) {
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7}]})");
    server.serve(LocalServer::supportedPath,
                 R"({"data":[{"id":"c","registers":[{"fieldType":"serial"},)"
                 R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16",)"
                 R"("length":1}]},{"id":"d"},)"
                 R"({"id":"c","registers":[{"fieldType":"serial"},)"
                 R"({"address":11,"fieldType":"powerExport","modbusDataType":"uint16",)"
                 R"("length":1}]}]})");
    house::MeteringService service;

    const auto lines = poll();
    reader.deliver();

    EXPECT_EQ(slave.transcript(), R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 7  read holding 11 x1
<< 0047
)");
    EXPECT_THAT(with("Reading meter now", lines), SizeIs(2));
    ASSERT_TRUE(service.waitForMessages(2));
    EXPECT_THAT(timelessTexts(service),
                UnorderedElementsAre(R"({"id":"S-7","slaveAddress":7,"meteringType":"modbus",)"
                                     R"("lastChanged":"<time>","powerConsumed":70.0})",
                                     R"({"id":"S-7","slaveAddress":7,"meteringType":"modbus",)"
                                     R"("lastChanged":"<time>","powerProduced":71.0})"));
}

TEST_F(PollCycle, aFailingMeterDoesNotStopTheNextOne) {
    slave.unit(7).failAlways(house::Fault::exception(4));

    poll();

    EXPECT_EQ(slave.transcript(), R"(>> unit 7  read holding 10 x1
<< exception 4
>> unit 8  read holding 10 x1
<< 0050
)");
}

TEST_F(PollCycle, newRegisterMapsTakeEffectOnTheNextPoll) {
    poll();
    slave.clearTranscript();
    server.serve(LocalServer::supportedPath,
                 R"({"data":[{"id":"c","registers":[{"address":11,"length":1}]}]})");

    poll();

    EXPECT_EQ(slave.transcript(), R"(>> unit 7  read holding 11 x1
<< 0047
>> unit 8  read holding 11 x1
<< 0051
)");
}

TEST_F(PollCycle, debugTellsEachMeterEachModelAndTheirComparison) {
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"configId":"x","slaveAddress":7},{"configId":"y"}]})");
    server.serve(LocalServer::supportedPath, R"({"data":[{"id":"c"},{"id":"d"}]})");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);

    const auto lines = poll();

    const std::string c = R"(debug modbusSerial config:{"id":c} toolkit.cpp:<line>)";
    const std::string d = R"(debug modbusSerial config:{"id":d} toolkit.cpp:<line>)";
    EXPECT_THAT(
        with("debug", lines),
        ElementsAre(
            R"(debug modbusSerial meter:{"configId":x,"slaveAddress":7} toolkit.cpp:<line>)", //
            c, "debug modbusSerial Comparison  config.id:c meter.configId:x toolkit.cpp:<line>", d,
            "debug modbusSerial Comparison  config.id:d meter.configId:x toolkit.cpp:<line>",
            R"(debug modbusSerial meter:{"configId":y} toolkit.cpp:<line>)", //
            c, "debug modbusSerial Comparison  config.id:c meter.configId:y toolkit.cpp:<line>", d,
            "debug modbusSerial Comparison  config.id:d meter.configId:y toolkit.cpp:<line>"));
}

TEST_F(PollCycle, anExceptionWhileReadingSkipsTheRestOfTheMeters) {
    // No socket address takes this path, so offering the first record throws.
    orv::modbusreader::SenderQueue farAway(reader.ioContext, std::string(108, 'x'));
    orv::modbusreader::SerialConnection connection{
        orv::HttpClient(false), {}, reader.ioContext, farAway};
    connection.m_readIntervalUSec = 0;

    connection.querySerialConnectionConfig();
    connection.doRead();

    EXPECT_EQ(log.take().back(), "warning modbusSerial Could not convert reply e:File name too "
                                 "long toolkit.cpp:<line>");
    EXPECT_EQ(slave.transcript(), ">> unit 7  read holding 10 x1\n<< 0046\n");
    // The record had been kept by then.
    ASSERT_THAT(connection.m_readings, SizeIs(1));
    EXPECT_EQ(connection.m_readings.at(7).powerConsumed, 70.0);
}

TEST_F(PollCycle, bothMetersAreOfferedToTheMeteringService) {
    house::MeteringService service;

    poll();
    reader.deliver();

    ASSERT_TRUE(service.waitForMessages(2));
    EXPECT_THAT(timelessTexts(service),
                UnorderedElementsAre(R"({"id":"S-7","slaveAddress":7,"meteringType":"modbus",)"
                                     R"("lastChanged":"<time>","powerConsumed":70.0})",
                                     R"({"id":"S-8","slaveAddress":8,"meteringType":"modbus",)"
                                     R"("lastChanged":"<time>","powerConsumed":80.0})"));
}
