#include "modbus/poll-cycle.h"
#include "support/recorded-curl.h"
#include "support/recorded-sleep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include <chrono>
#include <mutex>
#include <utility>

using house::Answer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

std::vector<std::string> warnings(const std::vector<std::string>& lines) {
    return with("warning modbusSerial", lines);
}

} // namespace

TEST_F(PollCycle, asksThePathsInOrderByPlainGets) {
    std::mutex mutex;
    std::vector<long> verifications;
    server.whenRequested([&](const house::Request&) {
        const std::scoped_lock lock(mutex);
        verifications.push_back(recorded_curl::numbers().at(CURLOPT_SSL_VERIFYPEER));
    });

    poll();

    std::vector<std::string> asked;
    for (const house::Request& request : server.requests()) {
        asked.push_back(request.method + " " + request.path);
        EXPECT_EQ(request.body, "");
        // What libcurl sends of its own.
        EXPECT_THAT(request.headers, UnorderedElementsAre(Key("Host"), Key("Accept")));
    }
    EXPECT_THAT(asked, ElementsAre("GET /api/v1/apartment/meterings/modbus/rtuconfig",
                                   "GET /api/v1/apartment/meterings/modbus/attached",
                                   "GET /api/v1/apartment/meterings/modbus/config/supported"));
    const std::scoped_lock lock(mutex);
    EXPECT_THAT(verifications, ElementsAre(1, 1, 1));
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

TEST_F(PollCycle, eachSerialParameterThatChangesAloneReconnects) {
    poll();
    // One key differs from row to row.
    const std::vector<std::pair<const char*, const char*>> changes = {
        {R"({"data":{"serialDevice":"/dev/b","baudRate":"baud9600"}})",
         R"({"serialDevice":/dev/b,"baudRate":baud9600})"},
        {R"({"data":{"serialDevice":"/dev/b","baudRate":"baud19200"}})",
         R"({"serialDevice":/dev/b,"baudRate":baud19200})"},
        {R"({"data":{"serialDevice":"/dev/b","baudRate":"baud19200","parity":"even"}})",
         R"({"serialDevice":/dev/b,"baudRate":baud19200,"parity":even})"},
        {R"({"data":{"serialDevice":"/dev/b","baudRate":"baud19200","parity":"even",)"
         R"("dataBits":"bits7"}})",
         R"({"serialDevice":/dev/b,"baudRate":baud19200,"parity":even,"dataBits":bits7})"},
        {R"({"data":{"serialDevice":"/dev/b","baudRate":"baud19200","parity":"even",)"
         R"("dataBits":"bits7","stopBits":"bits2"}})",
         R"({"serialDevice":/dev/b,"baudRate":baud19200,"parity":even,"dataBits":bits7,)"
         R"("stopBits":bits2})"},
    };

    for (const auto& [reply, parameters] : changes) {
        server.serve(LocalServer::rtuConfigPath, reply);

        EXPECT_THAT(with("doReconnect", poll()),
                    ElementsAre(vx::str("notice modbusSerial doReconnect m_config:", parameters,
                                        " toolkit.cpp:<line>")));
    }
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

TEST_F(PollCycle, theGoodBodyOfAnErrorStatusIsLoggedAndNotTaken) {
    poll();
    const auto parameters = reader.connection.m_config;
    const auto meters = reader.connection.m_attachedMeters;
    server.answerNext(LocalServer::rtuConfigPath,
                      Answer::withStatus(500, R"({"data":{"serialDevice":"/dev/b"}})"));
    server.answerNext(LocalServer::attachedPath,
                      Answer::withStatus(500, R"({"data":[{"configId":"c","slaveAddress":9}]})"));
    server.answerNext(LocalServer::supportedPath,
                      Answer::withStatus(500, R"({"data":[{"id":"c","registers":[{}]}]})"));
    slave.clearTranscript();

    const auto lines = poll();

    const std::string warning = "warning modbusSerial Error requesting from server code:500 ";
    EXPECT_THAT(
        warnings(lines),
        ElementsAre(warning + R"(result:{"data":{"serialDevice":"/dev/b"}} toolkit.cpp:<line>)",
                    warning + R"(result:{"data":[{"configId":"c","slaveAddress":9}]} )"
                              R"(toolkit.cpp:<line>)",
                    warning + R"(result:{"data":[{"id":"c","registers":[{}]}]} )"
                              R"(toolkit.cpp:<line>)"));
    EXPECT_EQ(reader.connection.m_config, parameters);
    EXPECT_EQ(reader.connection.m_attachedMeters, meters);
    EXPECT_EQ(slave.transcript(), "");
    EXPECT_THAT(with("Reading meter", lines), IsEmpty());
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

TEST_F(PollCycle, anyStandardExceptionOfAReconnectIsCaught) {
    std::vector<std::string> lines;
    vx::Logger::instance().setLogFunction(
        [&](const char*, vx::LogSeverity, const std::string& message) {
            lines.push_back(withoutLineNumbers(message));
            if (message.starts_with("doReconnect"))
                throw std::out_of_range("too far");
        });

    reader.connection.querySerialConnectionConfig();
    vx::Logger::instance().setLogFunction(vx::Logger::defaultLogFunction);

    EXPECT_EQ(lines.back(), "Could not convert reply e:too far toolkit.cpp:<line>");
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
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
    server.serve(LocalServer::supportedPath,
                 R"({"data":[{"id":"c","registers":[{"address":11,"length":1}]}]})");
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_THAT(warnings(lines),
                ElementsAre("warning modbusSerial Error requesting from server code:404 "
                            "result:gone toolkit.cpp:<line>"));
    // The body's line comes before the look at the status.
    EXPECT_EQ(lines[2], "notice modbusSerial Attached Meters result:gone toolkit.cpp:<line>");
    EXPECT_EQ(lines[3], warnings(lines).front());
    // Their register maps are this poll's.
    EXPECT_EQ(slave.transcript(), R"(>> unit 7  read holding 11 x1
<< 0047
>> unit 8  read holding 11 x1
<< 0051
)");
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
    // The models are asked for all the same.
    EXPECT_THAT(with("Supported Meters", lines), SizeIs(1));
    EXPECT_EQ(server.requestCount(LocalServer::supportedPath), 2);
    EXPECT_EQ(slave.transcript(), "");
    poll();
    EXPECT_EQ(slave.transcript(), readBoth);
}

TEST_F(PollCycle, anEmptyBodyOnAttachedEmptiesTheList) {
    poll();
    server.answerNext(LocalServer::attachedPath, Answer::withBody(""));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_EQ(lines[2], "notice modbusSerial Attached Meters result: toolkit.cpp:<line>");
    EXPECT_THAT(
        warnings(lines),
        ElementsAre(
            "warning modbusSerial Could not convert reply e:Failed to parse json. "
            "unexpected end of data condition:object vx/json.cpp:<line> toolkit.cpp:<line>"));
    EXPECT_THAT(reader.connection.m_attachedMeters, IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, anEmptyBodyOnSupportedReadsNoMeter) {
    poll();
    server.answerNext(LocalServer::supportedPath, Answer::withBody(""));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_THAT(with("Supported Meters", lines),
                ElementsAre("notice modbusSerial Supported Meters result: toolkit.cpp:<line>"));
    EXPECT_THAT(
        warnings(lines),
        ElementsAre(
            "warning modbusSerial Could not convert reply e:Failed to parse json. "
            "unexpected end of data condition:object vx/json.cpp:<line> toolkit.cpp:<line>"));
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, anEmptyAttachedListYieldsNoBusTrafficAndNoRecord) {
    server.serve(LocalServer::attachedPath, R"({"data":[]})");

    const auto lines = poll();

    EXPECT_THAT(warnings(lines), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
    EXPECT_THAT(reader.connection.m_readings, IsEmpty());
}

TEST_F(PollCycle, anEmptyAttachedListTakesTheMetersAway) {
    const std::string sending = "modbusreaderSocketWriter Connect";
    EXPECT_THAT(with(sending, poll()), SizeIs(2));
    server.serve(LocalServer::attachedPath, R"({"data":[]})");
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_EQ(slave.transcript(), "");
    // Their last records are kept, but not sent again.
    EXPECT_THAT(reader.connection.m_readings, SizeIs(2));
    EXPECT_THAT(with(sending, lines), IsEmpty());
}

TEST_F(PollCycle, theRecordOfAMeterThatLeftIsCarriedWhenItIsBack) {
    poll();
    server.answerNext(LocalServer::attachedPath,
                      Answer::withBody(R"({"data":[{"configId":"c","slaveAddress":8}]})"));
    poll();
    slave.unit(7).failAlways(house::Fault::exception(4));

    const auto lines = poll();

    EXPECT_THAT(with("Interpolating field", lines), SizeIs(1));
    EXPECT_EQ(reader.connection.m_readings.at(7).powerConsumed, 70.0);
}

TEST_F(PollCycle, anErrorStatusOnSupportedReadsNoMeter) {
    poll();
    server.answerNext(LocalServer::supportedPath, Answer::withStatus(503, "later"));
    slave.clearTranscript();

    const auto lines = poll();

    EXPECT_EQ(lines.back(), "warning modbusSerial Error requesting from server code:503 "
                            "result:later toolkit.cpp:<line>");
    EXPECT_THAT(with("Supported Meters", lines), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
}

TEST_F(PollCycle, anUnparsableSupportedBodyReadsNoMeter) {
    poll();
    server.serve(LocalServer::supportedPath, R"({"data":{}})");
    slave.clearTranscript();

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

TEST_F(PollCycle, startRunsAWholePollAndBlocksForOneSecondMore) {
    server.serve(LocalServer::attachedPath, R"({"data":[]})");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);
    std::mutex mutex;
    std::vector<std::string> busyAt;
    const auto note = [&](const std::string& moment) {
        const std::scoped_lock lock(mutex);
        busyAt.push_back(moment + (reader.connection.m_busy ? " busy" : " idle"));
    };
    server.whenRequested([&](const house::Request&) {
        // Its lock is what this thread shares with the reader, which has set options just before.
        recorded_curl::numbers();
        note("request");
    });
    const recorded_sleep::Observer observer(
        [&](unsigned seconds) { note(vx::str("sleep ", seconds)); });
    const auto begin = std::chrono::steady_clock::now();

    reader.connection.start();
    note("end");

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(log.take().front(), "debug modbusSerial Main loop is alive toolkit.cpp:<line>");
    EXPECT_THAT(busyAt, ElementsAre("request busy", "request busy", "request busy", "sleep 1 busy",
                                    "end idle"));
}

TEST_F(PollCycle, whatIsNoStandardExceptionLeavesThePollBusy) {
    for (const std::string line : {"querySerialConnectionConfig", "Cycling meters"}) {
        Reader fresh;
        vx::Logger::instance().setLogFunction(
            [line](const char*, vx::LogSeverity, const std::string& message) {
                if (message.starts_with(line))
                    throw 7;
            });

        EXPECT_THROW(fresh.connection.start(), int) << line;
        EXPECT_TRUE(fresh.connection.m_busy) << line;
    }
}
