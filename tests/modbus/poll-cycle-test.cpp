#include "modbus/poll-cycle.h"
#include "support/channel-severity.h"
#include "support/curl-calls.h"
#include "support/lines.h"
#include "support/log-function.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <stdexcept>
#include <utility>

using house::Answer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::SizeIs;
using testing::UnorderedElementsAre;

// What a poll asks the local server for, and what becomes of each answer.

TEST_F(PollCycle, asksThePathsInOrderByPlainGets) {
    const curl_calls::Numbers numbers;
    std::mutex mutex;
    std::vector<long> verifications;
    whenRequested([&](const house::Request&) {
        const std::scoped_lock lock(mutex);
        verifications.push_back(numbers.all().at(CURLOPT_SSL_VERIFYPEER));
    });

    poll();

    for (const house::Request& request : server->requests()) {
        EXPECT_EQ(request.body, "");
        // What libcurl sends of its own.
        EXPECT_THAT(request.headers, UnorderedElementsAre(Key("Host"), Key("Accept")));
    }
    const std::scoped_lock lock(mutex);
    EXPECT_THAT(verifications, ElementsAre(1, 1, 1));
    expectTranscriptOfFile(transcript());
}

TEST_F(PollCycle, firstGoodReplyDiffersFromTheStartAndReconnects) {
    poll();

    EXPECT_THAT(log("doReconnect"), SizeIs(1));
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
}

TEST_F(PollCycle, anEqualReplyDoesNothingMore) {
    firstPoll();

    poll();

    EXPECT_THAT(log("querySerialConnectionConfig"),
                ElementsAre(R"(notice modbusSerial querySerialConnectionConfig m_config:)"
                            R"({"serialDevice":/dev/a,"baudRate":baud9600} serverConfig.data:)"
                            R"({"serialDevice":/dev/a,"baudRate":baud9600} toolkit.cpp:<line>)"));
    EXPECT_EQ(transcript(), secondPoll);
}

TEST_F(PollCycle, eachSerialParameterThatChangesAloneReconnects) {
    firstPoll();
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
        serveRtuConfig(reply);

        poll();

        EXPECT_THAT(log("doReconnect"),
                    ElementsAre(vx::str("notice modbusSerial doReconnect m_config:", parameters,
                                        " toolkit.cpp:<line>")));
    }
}

TEST_F(PollCycle, anEmptyObjectEqualsTheStartSoNoConnectionIsMade) {
    serveRtuConfig("{}");

    poll();

    expectTranscriptOfFile(transcript());
}

TEST_F(PollCycle, anEmptyObjectAfterAGoodReplyReconnects) {
    firstPoll();
    serveRtuConfig("{}");

    poll();

    EXPECT_THAT(log("doReconnect"),
                ElementsAre("notice modbusSerial doReconnect m_config:{} toolkit.cpp:<line>"));
}

TEST_F(PollCycle, anErrorStatusOnRtuconfigKeepsParametersAndConnection) {
    firstPoll();
    server->answerNext(LocalServer::rtuConfigPath, Answer::withStatus(500, "broken"));

    poll();

    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                500
!! warning modbusSerial Error requesting from server code:500 result:broken toolkit.cpp:<line>
)" + std::string(restOfSecondPoll));
}

TEST_F(PollCycle, onlyStatus200IsAnAnswer) {
    for (const char* path :
         {LocalServer::rtuConfigPath, LocalServer::attachedPath, LocalServer::supportedPath})
        server->answerAlways(path, Answer::withStatus(201, "{}"));

    poll();

    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                201
!! warning modbusSerial Error requesting from server code:201 result:{} toolkit.cpp:<line>
?? GET …/attached                 201
!! warning modbusSerial Error requesting from server code:201 result:{} toolkit.cpp:<line>
?? GET …/config/supported         201
!! warning modbusSerial Error requesting from server code:201 result:{} toolkit.cpp:<line>
)");
}

TEST_F(PollCycle, theGoodBodyOfAnErrorStatusIsLoggedAndNotTaken) {
    firstPoll();
    const auto parameters = reader.connection.m_config;
    const auto meters = reader.connection.m_attachedMeters;
    server->answerNext(LocalServer::rtuConfigPath,
                       Answer::withStatus(500, R"({"data":{"serialDevice":"/dev/b"}})"));
    server->answerNext(LocalServer::attachedPath,
                       Answer::withStatus(500, R"({"data":[{"configId":"c","slaveAddress":9}]})"));
    server->answerNext(LocalServer::supportedPath,
                       Answer::withStatus(500, R"({"data":[{"id":"c","registers":[{}]}]})"));

    poll();

    EXPECT_EQ(reader.connection.m_config, parameters);
    EXPECT_EQ(reader.connection.m_attachedMeters, meters);
    EXPECT_THAT(log("Reading meter"), IsEmpty());
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                500
!! warning modbusSerial Error requesting from server code:500 result:{"data":{"serialDevice":"/dev/b"}} toolkit.cpp:<line>
?? GET …/attached                 500
!! warning modbusSerial Error requesting from server code:500 result:{"data":[{"configId":"c","slaveAddress":9}]} toolkit.cpp:<line>
?? GET …/config/supported         500
!! warning modbusSerial Error requesting from server code:500 result:{"data":[{"id":"c","registers":[{}]}]} toolkit.cpp:<line>
)");
}

TEST_F(PollCycle, anUnparsableRtuconfigKeepsParametersAndConnection) {
    firstPoll();
    server->answerNext(LocalServer::rtuConfigPath, Answer::withBody("<html>"));

    poll();

    EXPECT_EQ(log(" result:").front(), "notice modbusSerial result:<html> toolkit.cpp:<line>");
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
!! warning modbusSerial Could not convert reply e:Failed to parse json. unexpected character condition:object vx/json.cpp:<line> toolkit.cpp:<line>
)" + std::string(restOfSecondPoll));
}

TEST_F(PollCycle, aReplyThatIsAnArrayCouldNotBeConverted) {
    firstPoll();
    server->answerNext(LocalServer::rtuConfigPath, Answer::withBody("[]"));

    poll();

    EXPECT_THAT(complaints(),
                ElementsAre("warning modbusSerial Could not convert reply e:Expecting json object. "
                            "jsonType:5 condition:jsonType == json_type_object vx/record.h:<line> "
                            "toolkit.cpp:<line>"));
}

TEST_F(PollCycle, aBrokenConfigurationFileLeavesTheParametersAcceptedAndIsNotTriedAgain) {
    writeConfigFile("{broken");

    poll();
    const auto reported = log("Could not convert reply");
    forget();
    poll();

    EXPECT_THAT(reported,
                ElementsAre("warning modbusSerial Could not convert reply e:Failed to parse json. "
                            "quoted object property name expected condition:object "
                            "vx/json.cpp:<line> toolkit.cpp:<line>"));
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
    EXPECT_THAT(log("doReconnect"), IsEmpty());
    // Nothing but the reads that fail without a connection.
    expectTranscriptOfFile(transcript());
}

TEST_F(PollCycle, anyStandardExceptionOfAReconnectIsCaught) {
    std::vector<std::string> lines;
    const LogFunction throwing([&](const char*, vx::LogSeverity, const std::string& message) {
        lines.push_back(withoutLineNumbers(message));
        if (message.starts_with("doReconnect"))
            throw std::out_of_range("too far");
    });

    reader.connection.querySerialConnectionConfig();

    EXPECT_EQ(lines.back(), "Could not convert reply e:too far toolkit.cpp:<line>");
    EXPECT_EQ(reader.connection.m_config.serialDevice, "/dev/a");
}

TEST_F(PollCycle, aChangedConfigurationFileTakesEffectOnlyAtTheNextReconnect) {
    firstPoll();
    house::ModbusSlave other{house::TcpPort{}};
    other.unit(7).holding(10, {70});
    other.unit(8).holding(10, {80});
    writeConfigFile(vx::str(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)",
                            other.port(), "}}"));

    poll();
    EXPECT_EQ(transcript(), secondPoll);
    EXPECT_EQ(other.transcript(), "");
    serveRtuConfig(R"({"data":{"serialDevice":"/dev/b"}})");
    poll();

    EXPECT_EQ(conversation(), "");
    EXPECT_EQ(other.transcript(), R"(>> unit 7  read holding 10 x1
<< 0046
>> unit 8  read holding 10 x1
<< 0050
)");
}

TEST_F(PollCycle, anErrorStatusOnAttachedStillReadsTheMetersOfTheLastGoodReply) {
    firstPoll();
    server->answerNext(LocalServer::attachedPath, Answer::withStatus(404, "gone"));
    // Their register maps are this poll's.
    serveSupported(R"({"data":[{"id":"c","registers":[{"address":11,"length":1}]}]})");

    poll();

    // The body is logged before the look at the status.
    EXPECT_THAT(log(" result:gone"),
                ElementsAre("notice modbusSerial Attached Meters result:gone toolkit.cpp:<line>",
                            "warning modbusSerial Error requesting from server code:404 "
                            "result:gone toolkit.cpp:<line>"));
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 404
?? GET …/config/supported         200
>> unit 7  read holding 11 x1
<< 0047
>> unit 8  read holding 11 x1
<< 0051
)");
}

TEST_F(PollCycle, anUnparsableAttachedBodyEmptiesTheListUntilTheNextGoodReply) {
    firstPoll();
    server->answerNext(LocalServer::attachedPath, Answer::withBody("oops"));

    poll();

    EXPECT_THAT(reader.connection.m_attachedMeters, IsEmpty());
    // The models are asked for all the same.
    EXPECT_THAT(log("Supported Meters"), SizeIs(1));
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
!! warning modbusSerial Could not convert reply e:Failed to parse json. unexpected character condition:object vx/json.cpp:<line> toolkit.cpp:<line>
?? GET …/config/supported         200
)");
    poll();
    EXPECT_EQ(transcript(), secondPoll);
}

TEST_F(PollCycle, anEmptyBodyOnAttachedEmptiesTheList) {
    firstPoll();
    server->answerNext(LocalServer::attachedPath, Answer::withBody(""));

    poll();

    EXPECT_THAT(log("Attached Meters"),
                ElementsAre("notice modbusSerial Attached Meters result: toolkit.cpp:<line>"));
    EXPECT_THAT(reader.connection.m_attachedMeters, IsEmpty());
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
!! warning modbusSerial Could not convert reply e:Failed to parse json. unexpected end of data condition:object vx/json.cpp:<line> toolkit.cpp:<line>
?? GET …/config/supported         200
)");
}

TEST_F(PollCycle, anEmptyBodyOnSupportedReadsNoMeter) {
    firstPoll();
    server->answerNext(LocalServer::supportedPath, Answer::withBody(""));

    poll();

    EXPECT_THAT(log("Supported Meters"),
                ElementsAre("notice modbusSerial Supported Meters result: toolkit.cpp:<line>"));
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
?? GET …/config/supported         200
!! warning modbusSerial Could not convert reply e:Failed to parse json. unexpected end of data condition:object vx/json.cpp:<line> toolkit.cpp:<line>
)");
}

TEST_F(PollCycle, anEmptyAttachedListYieldsNoBusTrafficAndNoRecord) {
    serveAttached(R"({"data":[]})");

    poll();

    EXPECT_EQ(conversation(), "");
    EXPECT_THAT(reader.connection.m_readings, IsEmpty());
}

TEST_F(PollCycle, anEmptyAttachedListTakesTheMetersAway) {
    poll();
    EXPECT_THAT(messages(), SizeIs(2));
    forget();
    serveAttached(R"({"data":[]})");

    poll();

    // Their last records are kept, but not sent again.
    EXPECT_THAT(reader.connection.m_readings, SizeIs(2));
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
?? GET …/config/supported         200
)");
}

TEST_F(PollCycle, theRecordOfAMeterThatLeftIsCarriedWhenItIsBack) {
    firstPoll();
    server->answerNext(LocalServer::attachedPath,
                       Answer::withBody(R"({"data":[{"configId":"c","slaveAddress":8}]})"));
    firstPoll();
    bus->unit(7).failAlways(house::Fault::exception(4));

    poll();

    EXPECT_THAT(log("Interpolating field"), SizeIs(1));
    EXPECT_THAT(complaints(), SizeIs(1));
    EXPECT_EQ(reader.connection.m_readings.at(7).powerConsumed, 70.0);
}

TEST_F(PollCycle, anErrorStatusOnSupportedReadsNoMeter) {
    firstPoll();
    server->answerNext(LocalServer::supportedPath, Answer::withStatus(503, "later"));

    poll();

    EXPECT_THAT(log("Supported Meters"), IsEmpty());
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
?? GET …/config/supported         503
!! warning modbusSerial Error requesting from server code:503 result:later toolkit.cpp:<line>
)");
}

TEST_F(PollCycle, anUnparsableSupportedBodyReadsNoMeter) {
    firstPoll();
    serveSupported(R"({"data":{}})");

    poll();

    EXPECT_THAT(log("Supported Meters"), SizeIs(1));
    EXPECT_THAT(log("Cycling meters"), IsEmpty());
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
?? GET …/config/supported         200
!! warning modbusSerial Could not convert reply e:Expecting json array. jsonType:4 condition:jsonType == json_type_array vx/record.h:<line> / data toolkit.cpp:<line>
)");
}

TEST_F(PollCycle, aFailingRequestDoesNotStopTheNextOnes) {
    for (const char* path :
         {LocalServer::rtuConfigPath, LocalServer::attachedPath, LocalServer::supportedPath})
        server->answerAlways(path, Answer::dropped());

    poll();

    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                dropped
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/rtuconfig, Reason: Empty reply from server
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
?? GET …/attached                 dropped
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/attached, Reason: Empty reply from server
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
?? GET …/config/supported         dropped
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/config/supported, Reason: Empty reply from server
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
)");
}

TEST_F(PollCycle, startRunsAWholePollAndBlocksForOneSecondMore) {
    serveAttached(R"({"data":[]})");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);
    std::vector<bool> wasBusy;
    // Each request has a handle of its own.
    const auto requesting =
        curl_calls::easy_init.observeBy([&] { wasBusy.push_back(reader.connection.m_busy); });
    const auto sleeping = c_calls::sleep.replaceBy([&](unsigned seconds) {
        happened(Transcript::Kind::call, vx::str("sleep ", seconds, " s"));
        wasBusy.push_back(reader.connection.m_busy);
        return 0U;
    });

    reader.connection.start();

    EXPECT_EQ(log("Main loop").front(), "debug modbusSerial Main loop is alive toolkit.cpp:<line>");
    EXPECT_THAT(wasBusy, ElementsAre(true, true, true, true));
    EXPECT_FALSE(reader.connection.m_busy);
    expectTranscriptOfFile(transcript());
}

TEST_F(PollCycle, whatIsNoStandardExceptionLeavesThePollBusy) {
    for (const std::string line : {"querySerialConnectionConfig", "Cycling meters"}) {
        Reader fresh;
        const LogFunction throwing([&](const char*, vx::LogSeverity, const std::string& message) {
            if (message.starts_with(line))
                throw 7;
        });

        EXPECT_THROW(fresh.connection.start(), int) << line;
        EXPECT_TRUE(fresh.connection.m_busy) << line;
    }
}
