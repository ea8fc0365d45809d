#include "modbus/reader-world.h"
#include "support/log-capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

using house::Answer;
using house::LocalServer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* serialConfig = R"({"data":{"serialDevice":"/dev/a","baudRate":"baud9600"}})";
constexpr const char* attachedTwo = R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7},)"
                                    R"({"configId":"c","serial":"S-8","slaveAddress":8}]})";
constexpr const char* supportedOne =
    R"({"data":[{"id":"c","registers":[)"
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":1},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1}]}]})";

std::vector<std::string> with(const std::string& text, const std::vector<std::string>& lines) {
    std::vector<std::string> result;
    for (const std::string& line : lines)
        if (line.find(text) != std::string::npos)
            result.push_back(line);
    return result;
}

std::vector<std::string> warnings(const std::vector<std::string>& lines) {
    return with("warning modbusSerial", lines);
}

/// A reader, its local server on 127.0.0.1:8088, and two meters on a TCP bus.
class PollCycle : public testing::Test {
protected:
    PollCycle() {
        server.serve(LocalServer::rtuConfigPath, serialConfig);
        server.serve(LocalServer::attachedPath, attachedTwo);
        server.serve(LocalServer::supportedPath, supportedOne);
        slave.unit(7).holding(10, {70});
        slave.unit(8).holding(10, {80});
        useTcp(slave);
        reader.connection.m_readIntervalUSec = 0;
    }

    /// A poll without its last second.
    std::vector<std::string> poll() {
        reader.connection.querySerialConnectionConfig();
        reader.connection.doRead();
        return log.take();
    }

    LogCapture log{LogCapture::Mode::lenient};
    LocalServer server;
    house::ModbusSlave slave{house::TcpPort{}};
    Reader reader;
};

constexpr const char* readBoth = R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 8  read holding 10 x1
<< 0050
)";

} // namespace

TEST_F(PollCycle, asksThePathsInOrderByPlainGets) {
    poll();

    std::vector<std::string> asked;
    for (const house::Request& request : server.requests()) {
        asked.push_back(request.method + " " + request.path);
        EXPECT_EQ(request.body, "");
    }
    EXPECT_THAT(asked, ElementsAre("GET /api/v1/apartment/meterings/modbus/rtuconfig",
                                   "GET /api/v1/apartment/meterings/modbus/attached",
                                   "GET /api/v1/apartment/meterings/modbus/config/supported"));
}

TEST_F(PollCycle, readsTheMetersOneAfterAnotherInListOrder) {
    poll();

    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, firstGoodReplyDiffersFromTheStartAndReconnects) {
    const auto lines = poll();

    EXPECT_THAT(with("doReconnect", lines), SizeIs(1));
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
}

TEST_F(PollCycle, anEqualReplyDoesNothingMore) {
    poll();

    const auto lines = poll();

    EXPECT_THAT(with("doReconnect", lines), IsEmpty());
    EXPECT_THAT(with("querySerialConnectionConfig", lines),
                ElementsAre(R"(notice modbusSerial querySerialConnectionConfig m_config:)"
                            R"({"serialDevice":/dev/a,"baudRate":baud9600} serverConfig.data:)"
                            R"({"serialDevice":/dev/a,"baudRate":baud9600} toolkit.cpp:<line>)"));
}

TEST_F(PollCycle, aChangedSerialDeviceAloneReconnects) {
    poll();
    server.serve(LocalServer::rtuConfigPath,
                 R"({"data":{"serialDevice":"/dev/b","baudRate":"baud9600"}})");

    EXPECT_THAT(with("doReconnect", poll()), SizeIs(1));
}

TEST_F(PollCycle, anEmptyObjectEqualsTheStartSoNoConnectionIsMade) {
    server.serve(LocalServer::rtuConfigPath, "{}");

    const auto lines = poll();

    EXPECT_THAT(with("doReconnect", lines), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
    EXPECT_THAT(with("Could not read register", lines), SizeIs(2));
}

TEST_F(PollCycle, anEmptyObjectAfterAGoodReplyReconnects) {
    poll();
    server.serve(LocalServer::rtuConfigPath, "{}");

    EXPECT_THAT(with("doReconnect", poll()),
                ElementsAre("notice modbusSerial doReconnect m_config:{} toolkit.cpp:<line>"));
}

TEST_F(PollCycle, anErrorStatusOnRtuconfigKeepsParametersAndConnection) {
    poll();
    server.answerNext(LocalServer::rtuConfigPath, Answer::withStatus(500, "broken"));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_THAT(warnings(lines),
                ElementsAre("warning modbusSerial Error requesting from server code:500 "
                            "result:broken toolkit.cpp:<line>"));
    EXPECT_EQ(lines.front(), warnings(lines).front());
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, onlyStatus200IsAnAnswer) {
    for (const char* path :
         {LocalServer::rtuConfigPath, LocalServer::attachedPath, LocalServer::supportedPath})
        server.answerAlways(path, Answer::withStatus(201, "{}"));

    const std::string warning =
        "warning modbusSerial Error requesting from server code:201 result:{} toolkit.cpp:<line>";
    EXPECT_THAT(warnings(poll()), ElementsAre(warning, warning, warning));
}

TEST_F(PollCycle, anUnparsableRtuconfigKeepsParametersAndConnection) {
    poll();
    server.answerNext(LocalServer::rtuConfigPath, Answer::withBody("<html>"));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_THAT(warnings(lines),
                ElementsAre("warning modbusSerial Could not convert reply e:Failed to parse json. "
                            "unexpected character condition:object vx/json.cpp:<line> "
                            "toolkit.cpp:<line>"));
    EXPECT_EQ(lines.front(), "notice modbusSerial result:<html> toolkit.cpp:<line>");
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, aReplyThatIsAnArrayCouldNotBeConverted) {
    server.serve(LocalServer::rtuConfigPath, "[]");

    EXPECT_EQ(warnings(poll()).front(),
              "warning modbusSerial Could not convert reply e:Expecting json object. jsonType:5 "
              "condition:jsonType == json_type_object vx/record.h:<line> toolkit.cpp:<line>");
}

TEST_F(PollCycle, aBrokenConfigurationFileLeavesTheParametersAcceptedAndIsNotTriedAgain) {
    writeConfigFile("{broken");

    const auto first = poll();
    const auto second = poll();

    EXPECT_THAT(with("Could not convert reply", first),
                ElementsAre("warning modbusSerial Could not convert reply e:Failed to parse json. "
                            "quoted object property name expected condition:object "
                            "vx/json.cpp:<line> toolkit.cpp:<line>"));
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
    EXPECT_THAT(with("doReconnect", second), IsEmpty());
}

TEST_F(PollCycle, aChangedConfigurationFileTakesEffectOnlyAtTheNextReconnect) {
    poll();
    house::ModbusSlave other{house::TcpPort{}};
    useTcp(other);
    slave.clearTranscript();

    poll();
    EXPECT_EQ(slave.transcript(), readBoth);
    EXPECT_EQ(other.transcript(), "");
    server.serve(LocalServer::rtuConfigPath, R"({"data":{"serialDevice":"/dev/b"}})");
    other.unit(7).holding(10, {70});
    other.unit(8).holding(10, {80});
    poll();
    EXPECT_EQ(other.transcript(), readBoth);
}

TEST_F(PollCycle, anErrorStatusOnAttachedStillReadsTheMetersOfTheLastGoodReply) {
    poll();
    server.answerNext(LocalServer::attachedPath, Answer::withStatus(404, "gone"));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_THAT(warnings(lines),
                ElementsAre("warning modbusSerial Error requesting from server code:404 "
                            "result:gone toolkit.cpp:<line>"));
    // The body's line comes ahead of the look at the status.
    EXPECT_EQ(lines[2], "notice modbusSerial Attached Meters result:gone toolkit.cpp:<line>");
    EXPECT_EQ(lines[3], warnings(lines).front());
    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, anUnparsableAttachedBodyEmptiesTheListUntilTheNextGoodReply) {
    poll();
    server.answerNext(LocalServer::attachedPath, Answer::withBody("oops"));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_THAT(warnings(lines),
                ElementsAre("warning modbusSerial Could not convert reply e:Failed to parse json. "
                            "unexpected character condition:object vx/json.cpp:<line> "
                            "toolkit.cpp:<line>"));
    EXPECT_THAT(reader.connection.m_attachedMeters, IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
    poll();
    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, anEmptyAttachedListYieldsNoBusTrafficAndNoRecord) {
    server.serve(LocalServer::attachedPath, R"({"data":[]})");

    const auto lines = poll();

    EXPECT_THAT(warnings(lines), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
    EXPECT_THAT(reader.connection.m_readings, IsEmpty());
}

TEST_F(PollCycle, anEmptyAttachedListTakesTheMetersAway) {
    poll();
    server.serve(LocalServer::attachedPath, R"({"data":[]})");
    slave.clearTranscript();

    poll();

    EXPECT_EQ(slave.transcript(), "");
    EXPECT_THAT(reader.connection.m_readings, SizeIs(2));
}

TEST_F(PollCycle, anErrorStatusOnSupportedReadsNoMeter) {
    server.serve(LocalServer::supportedPath, supportedOne);
    server.answerNext(LocalServer::supportedPath, Answer::withStatus(503, "later"));

    const auto lines = poll();

    EXPECT_EQ(lines.back(), "warning modbusSerial Error requesting from server code:503 "
                            "result:later toolkit.cpp:<line>");
    EXPECT_THAT(with("Supported Meters", lines), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, anUnparsableSupportedBodyReadsNoMeter) {
    server.serve(LocalServer::supportedPath, R"({"data":{}})");

    const auto lines = poll();

    EXPECT_EQ(lines.back(),
              "warning modbusSerial Could not convert reply e:Expecting json array. jsonType:4 "
              "condition:jsonType == json_type_array vx/record.h:<line> / data toolkit.cpp:<line>");
    EXPECT_THAT(with("Supported Meters", lines), SizeIs(1));
    EXPECT_THAT(with("Cycling meters", lines), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, aFailingRequestDoesNotStopTheNextOnes) {
    server.answerAlways(LocalServer::rtuConfigPath, Answer::dropped());
    server.answerAlways(LocalServer::attachedPath, Answer::dropped());
    server.answerAlways(LocalServer::supportedPath, Answer::dropped());

    const auto lines = poll();

    EXPECT_EQ(server.requests().size(), 3);
    const std::string warning =
        "warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>";
    EXPECT_THAT(warnings(lines), ElementsAre(warning, warning, warning));
}

TEST_F(PollCycle, aMeterWithoutAModelIsSkippedWithNothingAboveDebug) {
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"configId":"C","serial":"S-7","slaveAddress":7}]})");

    const auto lines = poll();

    EXPECT_EQ(lines.back(), "notice modbusSerial Cycling meters toolkit.cpp:<line>");
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, twoModelsOfOneIdCauseTwoReadsOfTheMeter) {
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7}]})");
    server.serve(LocalServer::supportedPath,
                 R"({"data":[{"id":"c","registers":[{"address":10,"length":1}]},{"id":"d"},)"
                 R"({"id":"c","registers":[{"address":10,"length":1}]}]})");

    const auto lines = poll();

    EXPECT_EQ(slave.transcript(), R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 7  read holding 10 x1
<< 0046
)");
    EXPECT_THAT(with("Reading meter now", lines), SizeIs(2));
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
    slave.unit(7).holding(11, {71});
    slave.unit(8).holding(11, {81});
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
    server.serve(LocalServer::attachedPath, R"({"data":[{"configId":"x","slaveAddress":7}]})");
    server.serve(LocalServer::supportedPath, R"({"data":[{"id":"c"}]})");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);

    const auto lines = poll();

    EXPECT_THAT(with("debug", lines),
                ElementsAre(R"(debug modbusSerial meter:{"configId":x,"slaveAddress":7} )"
                            R"(toolkit.cpp:<line>)",
                            R"(debug modbusSerial config:{"id":c} toolkit.cpp:<line>)",
                            "debug modbusSerial Comparison  config.id:c meter.configId:x "
                            "toolkit.cpp:<line>"));
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
}

TEST_F(PollCycle, startRunsAWholePollAndBlocksForOneSecondMore) {
    server.serve(LocalServer::attachedPath, R"({"data":[]})");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);
    bool busyDuringThePoll = false;
    server.whenRequested(
        [&](const house::Request&) { busyDuringThePoll = reader.connection.m_busy; });
    const auto begin = std::chrono::steady_clock::now();

    reader.connection.start();

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(log.take().front(), "debug modbusSerial Main loop is alive toolkit.cpp:<line>");
    EXPECT_EQ(server.requests().size(), 3);
    EXPECT_TRUE(busyDuringThePoll);
    EXPECT_FALSE(reader.connection.m_busy);
}

TEST_F(PollCycle, bothMetersAreOfferedToTheMeteringService) {
    house::MeteringService service;

    poll();
    reader.deliver();

    ASSERT_TRUE(service.waitForMessages(2));
    auto texts = service.texts();
    for (std::string& text : texts)
        text = withoutTime(text);
    EXPECT_THAT(texts, testing::UnorderedElementsAre(
                           R"({"id":"S-7","slaveAddress":7,"meteringType":"modbus",)"
                           R"("lastChanged":"<time>","powerConsumed":70.0})",
                           R"({"id":"S-8","slaveAddress":8,"meteringType":"modbus",)"
                           R"("lastChanged":"<time>","powerConsumed":80.0})"));
}
