// What months do to the real executable: many polls with faults among them, and many changes of the
// serial parameters. Its pauses are shortened, nothing else.

#include "e2e/reader-process.h"
#include "e2e/small-home.h"

#include "house/process-figures.h"
#include "house/pty-pair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <sys/resource.h>

using house::Answer;
using house::LocalServer;
using house::PollFigures;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

const std::vector<std::string> shortPauses = {"LD_PRELOAD=" SHORT_PAUSES_LIBRARY};

/// Waits for a number of requests that takes longer than one limit.
void waitForPolls(const LocalServer& server, std::size_t polls) {
    for (std::size_t some = 50; some < polls; some += 50)
        ASSERT_TRUE(server.waitForRequests(LocalServer::supportedPath, some));
    ASSERT_TRUE(server.waitForRequests(LocalServer::supportedPath, polls));
}

/// As many as the service has.
constexpr std::size_t usualDescriptors = 1024;

/// Lets a running process have @p count descriptors.
void allowDescriptors(pid_t pid, std::size_t count) {
    rlimit limit{};
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = count;
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &limit, nullptr), 0);
}

/// Power of a message, which the slave sets to the number of the poll.
int pollOf(const std::string& message) {
    const std::string key = "\"powerConsumed\":";
    const auto at = message.find(key);
    return at == std::string::npos ? 0 : std::stoi(message.substr(at + key.size()));
}

/// A reply with serial parameters that differ from those of the poll before.
std::string serialConfigOf(int poll) {
    return poll % 2 == 0
               ? small_home::serialConfig
               : R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})";
}

} // namespace

TEST(Soak, aThousandPollsWithAFaultInEveryTenthLoseTheMessagesOfTheFaultsAlone) {
    constexpr int polls = 1000;
    small_home::OverTcp home;
    PollFigures figures;
    home.server.whenRequested([&](const house::Request& request) {
        if (request.path == LocalServer::rtuConfigPath)
            figures.pollBegins();
    });
    home.slave.beforeAnswer([&] {
        const auto poll = home.server.requestCount(LocalServer::supportedPath);
        home.slave.unit(7).input(10, {static_cast<std::uint16_t>(poll)});
    });
    const Answer faults[] = {Answer::withStatus(500), Answer::withBody("{"), Answer::dropped()};
    for (std::size_t i = 0; i < polls / 10; ++i) {
        home.server.answerNext(LocalServer::supportedPath, Answer(), 9);
        home.server.answerNext(LocalServer::supportedPath, faults[i % std::size(faults)]);
    }

    ReaderProcess reader(shortPauses);
    figures.takeFrom(reader.pid());
    waitForPolls(home.server, polls + 2);

    std::vector<int> expected;
    for (int poll = 1; poll <= polls; ++poll)
        if (poll % 10 != 0)
            expected.push_back(poll);
    ASSERT_TRUE(home.service.waitForMessages(expected.size()));
    std::vector<int> delivered;
    for (const std::string& text : home.service.texts())
        delivered.push_back(pollOf(text));
    delivered.resize(expected.size());
    EXPECT_THAT(delivered, ElementsAreArray(expected));
    // From the 50th poll on each kind of fault was met before.
    EXPECT_EQ(figures.at(999).descriptors, figures.at(59).descriptors);
    EXPECT_LE(figures.at(999).residentKilobytes, figures.at(59).residentKilobytes);
    EXPECT_TRUE(reader.running());
}

/// A home on a serial line whose parameters change with every poll.
class ChangingLine : public testing::Test {
protected:
    ChangingLine() {
        small_home::serveOn(m_server);
        small_home::liveOn(m_slave);
        m_line.linkMasterEnd("/dev/ttymxc2");
        m_server.whenRequested([&](const house::Request& request) {
            if (request.path != LocalServer::rtuConfigPath)
                return;
            m_figures.pollBegins();
            m_whenPollBegins(m_figures.poll());
        });
        for (int poll = 1; poll <= 1000; ++poll)
            m_server.answerNext(LocalServer::rtuConfigPath, Answer::withBody(serialConfigOf(poll)));
    }

    LocalServer m_server;
    house::PtyPair m_line;
    house::ModbusSlave m_slave{house::Tty{m_line.slaveEnd()}};
    house::MeteringService m_service;
    PollFigures m_figures;
    std::function<void(int poll)> m_whenPollBegins = [](int) {};
};

TEST_F(ChangingLine, keepsOneDescriptorMoreForEachOfTwoHundredChanges) {
    constexpr int changes = 200;
    ReaderProcess reader(shortPauses);
    m_figures.takeFrom(reader.pid());

    waitForPolls(m_server, changes + 10);

    for (int poll = 5; poll < 5 + changes; ++poll)
        EXPECT_EQ(m_figures.at(poll + 1).descriptors, m_figures.at(poll).descriptors + 1) << poll;
}

TEST_F(ChangingLine, goesOnWithErrorLinesWhenItsChangesHaveUsedUpTheDescriptors) {
    constexpr int poll = 20;
    constexpr int changes = 10;
    std::atomic<pid_t> pid = 0;
    m_whenPollBegins = [&](int begun) {
        if (begun == poll)
            allowDescriptors(pid, m_figures.at(poll).descriptors + changes);
    };
    ReaderProcess reader(shortPauses);
    m_figures.takeFrom(reader.pid());
    pid = reader.pid();

    // A request needs more of them than the bus, so it is the first to go without.
    const std::string failed = "Request failed: GET http://127.0.0.1:8088/api/v1/apartment/"
                               "meterings/modbus/";
    reader.waitForLog(failed + "rtuconfig", 20);
    ASSERT_FALSE(HasFailure());
    const auto seen = m_service.messages().size();
    allowDescriptors(pid, usualDescriptors);
    EXPECT_TRUE(m_service.waitForMessages(seen + 20));

    for (int change = 0; change < changes; ++change)
        EXPECT_EQ(m_figures.at(poll + change + 1).descriptors,
                  m_figures.at(poll + change).descriptors + 1)
            << change;
    const std::string error = "ERROR HttpClient " + failed;
    const std::string reason = ", Reason: Failed to connect to 127.0.0.1 port 8088 after <ms> ms: "
                               "Couldn't connect to server";
    const std::string warning =
        "WARN  modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>";
    EXPECT_THAT(linesBetween(reader.log(), failed + "rtuconfig", "retry timer"),
                ElementsAre(error + "rtuconfig" + reason, warning, error + "attached" + reason,
                            "NOTIC modbusSerial Attached Meters result: toolkit.cpp:<line>",
                            warning, error + "config/supported" + reason, warning));
    EXPECT_TRUE(reader.running());
}

TEST_F(ChangingLine, goesOnWithAWarningWhenAReconnectFindsNoDescriptor) {
    std::atomic<pid_t> pid = 0;
    // The reader has its connection to the server by then, and needs more for the bus.
    m_whenPollBegins = [&](int poll) {
        if (poll == 20)
            allowDescriptors(pid, 0);
    };
    ReaderProcess reader(shortPauses);
    pid = reader.pid();

    const std::string refused = "Could not connect serial";
    reader.waitForLog(refused);
    allowDescriptors(pid, usualDescriptors);
    const auto seen = m_service.messages().size();
    EXPECT_TRUE(m_service.waitForMessages(seen + 20));

    const auto log = reader.log();
    const auto line = std::find_if(log.begin(), log.end(), [&](const std::string& x) {
        return x.find(refused) != std::string::npos;
    });
    EXPECT_EQ(*std::prev(line), "ERROR modbusSerial RS485 could not be configured "
                                "serialDevice:/dev/ttymxc2 toolkit.cpp:<line>");
    EXPECT_EQ(*line, "WARN  modbusSerial Could not connect serial "
                     "strerror((*__errno_location ())):Too many open files toolkit.cpp:<line>");
    EXPECT_TRUE(reader.running());
}
