#include "modbus/poll-cycle.h"
#include "support/channel-severity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::SizeIs;

// Which meters a poll reads, with which models, and what it offers of them.

TEST_F(PollCycle, readsTheMetersOneAfterAnotherInListOrder) {
    poll();

    EXPECT_EQ(conversation(), R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 8  read holding 10 x1
<< 0050
)");
}

TEST_F(PollCycle, nothingComesBetweenTheReadsOfTwoMeters) {
    firstPoll();
    std::vector<unsigned> sleeps;
    const auto watched = c_calls::sleep.replaceBy([&](unsigned seconds) {
        sleeps.push_back(seconds);
        return 0U;
    });

    poll();

    EXPECT_THAT(steps(), ElementsAre("set_slave 7", "usleep 20000", "read_registers 10 x1",
                                     "set_slave 8", "usleep 20000", "read_registers 10 x1"));
    EXPECT_THAT(sleeps, SizeIs(0));
}

TEST_F(PollCycle, eachMeterIsReadWithAllItsModelsBeforeTheNextMeter) {
    serveSupported(R"({"data":[{"id":"c","registers":[{"address":10,"length":1}]},)"
                   R"({"id":"c","registers":[{"address":11,"length":1}]}]})");

    poll();

    EXPECT_EQ(conversation(), R"(>> unit 7  read holding 10 x1
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
    serveAttached(R"({"data":[{"configId":"C","slaveAddress":7},)"
                  R"({"configId":"c ","slaveAddress":7},{"configId":" c","slaveAddress":7},)"
                  R"({"configId":"c1","slaveAddress":7},{"configId":"","slaveAddress":7}]})");

    poll();

    EXPECT_EQ(conversation(), "");
    EXPECT_EQ(log().back(), "notice modbusSerial Cycling meters toolkit.cpp:<line>");
}

TEST_F(PollCycle, anEmptyConfigIdMatchesAnEmptyModelId) {
    serveAttached(R"({"data":[{"slaveAddress":7},{"configId":"c","slaveAddress":8}]})");
    serveSupported(R"({"data":[{"registers":[{"address":10,"length":1}]}]})");

    poll();

    EXPECT_EQ(conversation(), ">> unit 7  read holding 10 x1\n<< 0046\n");
}

TEST_F(PollCycle, twoModelsOfOneIdCauseTwoReadsAndTwoRecordsOfTheMeter) {
    firstPoll();
    serveAttached(R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7}]})");
    serveSupported(
        R"({"data":[{"id":"c","registers":[{"fieldType":"serial"},)"
        R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1}]},)"
        R"({"id":"d"},{"id":"c","registers":[{"fieldType":"serial"},)"
        R"({"address":11,"fieldType":"powerExport","modbusDataType":"uint16","length":1}]}]})");

    poll();

    EXPECT_THAT(log("Reading meter now"), SizeIs(2));
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
?? GET …/config/supported         200
>> unit 7  read holding 10 x1
<< 0046
>> unit 7  read holding 11 x1
<< 0047
=  {"id":"S-7","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","powerConsumed":70.0}
=  {"id":"S-7","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","powerProduced":71.0}
)");
}

TEST_F(PollCycle, aFailingMeterDoesNotStopTheNextOne) {
    firstPoll();
    bus->unit(7).failAlways(house::Fault::exception(4));

    poll();

    expectTranscriptOfFile(transcript());
}

TEST_F(PollCycle, newRegisterMapsTakeEffectOnTheNextPoll) {
    firstPoll();
    serveSupported(R"({"data":[{"id":"c","registers":[{"address":11,"length":1}]}]})");

    poll();

    EXPECT_EQ(conversation(), R"(>> unit 7  read holding 11 x1
<< 0047
>> unit 8  read holding 11 x1
<< 0051
)");
}

TEST_F(PollCycle, debugTellsEachMeterEachModelAndTheirComparison) {
    serveAttached(R"({"data":[{"configId":"x","slaveAddress":7},{"configId":"y"}]})");
    serveSupported(R"({"data":[{"id":"c"},{"id":"d"}]})");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);

    poll();

    const std::string c = R"(debug modbusSerial config:{"id":c} toolkit.cpp:<line>)";
    const std::string d = R"(debug modbusSerial config:{"id":d} toolkit.cpp:<line>)";
    EXPECT_THAT(
        log("debug"),
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

    connection.querySerialConnectionConfig();
    connection.doRead();

    EXPECT_THAT(complaints(), ElementsAre("warning modbusSerial Could not convert reply e:File "
                                          "name too long toolkit.cpp:<line>"));
    EXPECT_EQ(conversation(), ">> unit 7  read holding 10 x1\n<< 0046\n");
    // The record had been kept by then.
    ASSERT_THAT(connection.m_readings, SizeIs(1));
    EXPECT_EQ(connection.m_readings.at(7).powerConsumed, 70.0);
}

TEST_F(PollCycle, bothMetersAreOfferedToTheMeteringService) {
    poll();

    EXPECT_THAT(
        messages(),
        ElementsAre(
            R"({"id":"S-7","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
            R"("powerConsumed":70.0})",
            R"({"id":"S-8","slaveAddress":8,"meteringType":"modbus","lastChanged":"<time>",)"
            R"("powerConsumed":80.0})"));
}
