#include "e2e/reader-process.h"
#include "e2e/small-home.h"

#include "house/pty-pair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using house::Answer;
using house::Fault;
using house::LocalServer;
using testing::ElementsAre;

namespace {

/// The small home with a meter that is attached for three polls, each with a fault of its own.
class BusFault : public testing::Test {
protected:
    BusFault() {
        small_home::serveOn(server);
        server.answerNext(LocalServer::attachedPath, Answer::withBody(small_home::attached), 3);
        server.serve(LocalServer::attachedPath, R"({"data":[]})");
    }

    /// Reads the meter on @p slave in three polls; the fourth finds none.
    void pollThrice(house::ModbusSlave& slave) {
        server.whenRequested([&](const house::Request& request) {
            if (request.path == LocalServer::supportedPath)
                prepare(slave, server.requestCount(LocalServer::supportedPath));
        });
        // One second for each silence instead of five, and without a server's name no TCP.
        small_home::writeConfigFile(slave.port() == 0
                                        ? R"({"modbusMiscConfig":{"timeoutResponseSec":1}})"
                                        : R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1",)"
                                          R"("port":1502,"timeoutResponseSec":1}})");
        ReaderProcess reader;
        // The tick after the fourth poll.
        reader.waitForLog("retry timer", 4);
        EXPECT_TRUE(service.waitForMessages(3));
    }

    LocalServer server;
    house::MeteringService service;

private:
    static void prepare(house::ModbusSlave& slave, std::size_t poll) {
        house::ModbusSlave::Unit unit = slave.unit(7);
        if (poll == 1)
            unit.input(10, {1500}).holding(20, {0, 2}).failNext(10, Fault::exception(2));
        if (poll == 2)
            unit.holding(20, {0, 9}).failNext(20, Fault::silence);
        if (poll == 3)
            unit.input(10, {99}).holding(20, {0, 3}).failNext(10, Fault::exception(4));
    }
};

// What the first poll could not read is missing; what a later one could not read is the value of
// the poll before.
const auto isThreePollsMessages =
    ElementsAre(R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
                R"("energyConsumed":3600000.0})",
                small_home::message,
                R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
                R"("powerConsumed":1500.0,"energyConsumed":5400000.0})");

constexpr const char* threePollsConversation = R"(>> unit 7  read input 10 x1
<< exception 2
>> unit 7  read holding 20 x2
<< 0000 0002
>> unit 7  read input 10 x1
<< 05DC
>> unit 7  read holding 20 x2
<< silence
>> unit 7  read input 10 x1
<< exception 4
>> unit 7  read holding 20 x2
<< 0000 0003
)";

/// The messages so far without their moments.
std::vector<std::string> messagesOf(const house::MeteringService& service) {
    std::vector<std::string> texts = service.texts();
    std::transform(texts.begin(), texts.end(), texts.begin(), withoutTime);
    return texts;
}

} // namespace

TEST_F(BusFault, anExceptionAndASilenceOverTcpLeaveTheValuesOfThePollBefore) {
    house::ModbusSlave slave(house::TcpPort{small_home::busPort});

    pollThrice(slave);

    EXPECT_THAT(messagesOf(service), isThreePollsMessages);
    EXPECT_EQ(slave.transcript(), threePollsConversation);
}

TEST_F(BusFault, anExceptionAndASilenceOverRtuLeaveTheValuesOfThePollBefore) {
    const house::PtyPair line;
    line.linkMasterEnd("/dev/ttymxc2");
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});

    pollThrice(slave);

    EXPECT_THAT(messagesOf(service), isThreePollsMessages);
    EXPECT_EQ(slave.transcript(), threePollsConversation);
}

TEST_F(BusFault, aLineThatHangsUpDoesNotEndAReaderThatLeadsItsSession) {
    auto line = std::make_unique<house::PtyPair>();
    line->linkMasterEnd("/dev/ttymxc2");
    server.recover(LocalServer::attachedPath);
    // As the service manager starts it: the terminal that it opens first could become its own.
    ReaderProcess reader({}, {}, {"/usr/bin/setsid"});
    reader.waitForLog("Cycling meters");
    ASSERT_EQ(linesWith(reader.log(), "Could not connect serial").size(), 0);

    line.reset();
    reader.waitForLog("retry timer", 2);

    EXPECT_TRUE(reader.running());
}

TEST_F(BusFault, aFirstSlaveAddressThatTheLibraryRefusesEndsNeitherTheProcessNorThePoll) {
    const house::PtyPair line;
    line.linkMasterEnd("/dev/ttymxc2");
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    small_home::liveOn(slave);
    server.recover(LocalServer::attachedPath);
    server.serve(LocalServer::attachedPath,
                 R"({"data":[{"configId":"c1","serial":"S-300","slaveAddress":300},)"
                 R"({"configId":"c1","serial":"S-1","slaveAddress":7}]})");
    ReaderProcess reader;

    ASSERT_TRUE(service.waitForMessages(2));

    EXPECT_THAT(messagesOf(service),
                ElementsAre(R"({"id":"S-300","slaveAddress":44,"meteringType":"modbus",)"
                            R"("lastChanged":"<time>"})",
                            small_home::message));
    EXPECT_TRUE(reader.running());
}
