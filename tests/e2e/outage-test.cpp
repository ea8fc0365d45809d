#include "e2e/reader-process.h"
#include "e2e/small-home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using house::Answer;
using house::Fault;
using house::LocalServer;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char* couldNotRead =
    R"(aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,)"
    R"("scaleValue":1,"registerType":input} toolkit.cpp:<line>)";
constexpr const char* couldNotReadEnergy =
    R"(aRegister:{"address":20,"fieldType":energyImport,"modbusDataType":uint32,"length":1,)"
    R"("scaleValue":0.5,"registerType":holding} toolkit.cpp:<line>)";
constexpr const char* readFailed =
    "WARN  modbusSerial Could not read register strerror((*__errno_location ())):";
constexpr const char* brokenFile =
    "WARN  modbusSerial Could not convert reply e:Failed to parse json. unexpected character "
    "condition:object vx/json.cpp:<line> toolkit.cpp:<line>";
constexpr const char* requestFailed =
    "ERROR HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/";
constexpr const char* refused =
    ", Reason: Failed to connect to 127.0.0.1 port 8088 after <ms> ms: Couldn't connect to server";
constexpr const char* noAnswer =
    "WARN  modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>";
constexpr const char* serviceAway =
    "WARN  modbusreaderSocketWriter Could not connect ec:No such file or directory "
    "self->m_endpoint.path():/var/run/orv-metering.sock socket-writer.cpp:<line>";

/// The complaints of a whole poll without the local server.
const auto tellsOfNoServer =
    ElementsAre(requestFailed + std::string("rtuconfig") + refused, noAnswer,
                requestFailed + std::string("attached") + refused, noAnswer,
                requestFailed + std::string("config/supported") + refused, noAnswer);

/// Warnings and errors among the lines.
std::vector<std::string> complaints(const std::vector<std::string>& lines) {
    std::vector<std::string> result;
    for (const std::string& line : lines)
        if (line.starts_with("WARN ") || line.starts_with("ERROR"))
            result.push_back(line);
    return result;
}

/// The lines of the first poll and its delivery.
std::vector<std::string> firstPoll(const ReaderProcess& reader) {
    reader.waitForLog("retry timer");
    return linesBetween(reader.log(), "", "retry timer");
}

/// The lines from the timer's @p tick, counted from 1, up to the next one.
std::vector<std::string> pollBehindTick(const ReaderProcess& reader, std::size_t tick) {
    std::vector<std::string> result;
    std::size_t ticks = 0;
    for (const std::string& line : reader.log()) {
        if (line.find("retry timer") != std::string::npos)
            ++ticks;
        if (ticks == tick)
            result.push_back(line);
    }
    return result;
}

} // namespace

TEST(Outage, aServerThatFallsSilentCostsThreeWarningsPerPollAndNoMeterIsRead) {
    auto server = std::make_unique<LocalServer>();
    small_home::serveOn(*server);
    house::ModbusSlave slave(house::TcpPort{small_home::busPort});
    small_home::liveOn(slave);
    house::MeteringService service;
    small_home::useTcp();
    ReaderProcess reader;
    ASSERT_TRUE(service.waitForMessages(1));

    server.reset();
    // The poll after the next tick is the first that meets no server from its beginning on.
    const auto ticks = linesWith(reader.log(), "retry timer").size();
    reader.waitForLog("retry timer", ticks + 1);
    slave.clearTranscript();
    reader.waitForLog("retry timer", ticks + 2);

    const auto lines = pollBehindTick(reader, ticks + 1);
    EXPECT_THAT(complaints(lines), tellsOfNoServer);
    EXPECT_THAT(linesWith(lines, "Reading meter now"), IsEmpty());
    EXPECT_EQ(slave.transcript(), "");
    const auto silentFrom = service.messages().size();
    server = std::make_unique<LocalServer>();
    small_home::serveOn(*server);

    // Back again without a restart, over the connection that was there.
    EXPECT_TRUE(service.waitForMessages(silentFrom + 1));
    EXPECT_THAT(linesWith(reader.log(), "doReconnect").size(), 1);
}

TEST(Outage, withoutMeteringServiceEachMessageCostsOneLineOfEqualSignsAndOneWarning) {
    LocalServer server;
    small_home::serveOn(server);
    house::ModbusSlave slave(house::TcpPort{small_home::busPort});
    small_home::liveOn(slave);
    small_home::useTcp();
    ReaderProcess reader;

    const auto lines = firstPoll(reader);

    EXPECT_THAT(complaints(lines), ElementsAre(serviceAway));
    const std::string connecting = "DEBUG modbusreaderSocketWriter Connect ";
    EXPECT_THAT(linesBetween(lines, connecting, "retry timer"),
                ElementsAre(connecting + "socket-writer.cpp:<line>",
                            "=================================", serviceAway));
    house::MeteringService service;
    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_EQ(withoutTime(service.texts().front()), small_home::message);
}

// The library's own error numbers, here EMBXILADD (illegal data address), have no text in the C
// library.
TEST(Outage, everyRegisterFailingStillDeliversARecord) {
    LocalServer server;
    small_home::serveOn(server);
    house::ModbusSlave slave(house::TcpPort{small_home::busPort});
    small_home::liveOn(slave);
    slave.unit(7).failAlways(Fault::exception(2));
    house::MeteringService service;
    small_home::useTcp();
    ReaderProcess reader;

    const auto lines = firstPoll(reader);

    EXPECT_THAT(
        complaints(lines),
        ElementsAre(readFailed + std::string("Unknown error 112345680 ") + couldNotRead,
                    readFailed + std::string("Unknown error 112345680 ") + couldNotReadEnergy));
    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_EQ(withoutTime(service.texts().front()),
              R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"})");
}

TEST(Outage, aBrokenConfigurationFileIsReportedOnceAndLeavesNoConnection) {
    LocalServer server;
    small_home::serveOn(server);
    house::MeteringService service;
    small_home::writeConfigFile("{broken");
    ReaderProcess reader;

    reader.waitForLog("retry timer", 2);

    const std::string noContext = readFailed + std::string("Invalid argument ");
    EXPECT_THAT(
        complaints(linesBetween(reader.log(), "", "callback")),
        ElementsAre("WARN  modbusSerial Could not convert reply e:Failed to parse json. "
                    "quoted object property name expected condition:object vx/json.cpp:<line> "
                    "toolkit.cpp:<line>",
                    noContext + couldNotRead, noContext + couldNotReadEnergy));
    // The parameters count as accepted, so the second poll doesn't try again.
    EXPECT_THAT(linesWith(reader.log(), "Could not convert reply").size(), 1);
}

TEST(Outage, allAtOnceTheDaemonLivesOnAndRecovers) {
    auto server = std::make_unique<LocalServer>();
    small_home::serveOn(*server);
    small_home::writeConfigFile("<not json>");
    ReaderProcess reader;

    const auto firstLines = firstPoll(reader);
    server.reset();
    // The first poll that meets no server from its beginning on, and the one after it.
    const auto ticks = linesWith(reader.log(), "retry timer").size();
    reader.waitForLog("retry timer", ticks + 3);

    const std::string noContext = readFailed + std::string("Invalid argument ");
    EXPECT_THAT(complaints(firstLines), ElementsAre(brokenFile, noContext + couldNotRead,
                                                    noContext + couldNotReadEnergy, serviceAway));
    EXPECT_THAT(complaints(pollBehindTick(reader, ticks + 1)), tellsOfNoServer);
    EXPECT_THAT(complaints(pollBehindTick(reader, ticks + 2)), tellsOfNoServer);
    EXPECT_TRUE(reader.running());

    // All is mended, and the server names another device: the only sign to reconnect.
    house::ModbusSlave slave(house::TcpPort{small_home::busPort});
    small_home::liveOn(slave);
    house::MeteringService service;
    small_home::useTcp();
    server = std::make_unique<LocalServer>();
    small_home::serveOn(*server);
    server->serve(LocalServer::rtuConfigPath, R"({"data":{"serialDevice":"/dev/ttyS2"}})");
    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_EQ(withoutTime(service.texts().back()), small_home::message);
}
