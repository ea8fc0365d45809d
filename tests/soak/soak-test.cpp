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
#include <map>
#include <mutex>
#include <sys/resource.h>

using house::Answer;
using house::LocalServer;
using house::ProcessFigures;
using testing::ElementsAreArray;

namespace {

/// Figures of the reader at the beginning of chosen polls, where it does the same every time.
class PollFigures {
public:
    void takeFrom(pid_t pid) { m_pid = pid; }

    void pollBegins() {
        const std::scoped_lock lock(m_mutex);
        ++m_poll;
        if (m_pid != 0)
            m_figures[m_poll] = ProcessFigures::of(m_pid);
    }

    int poll() const { return m_poll; }

    ProcessFigures at(int poll) const {
        const std::scoped_lock lock(m_mutex);
        return m_figures.at(poll);
    }

private:
    mutable std::mutex m_mutex;
    std::atomic<pid_t> m_pid = 0;
    std::atomic<int> m_poll = 0;
    std::map<int, ProcessFigures> m_figures;
};

const std::vector<std::string> shortPauses = {"LD_PRELOAD=" SHORT_PAUSES_LIBRARY};

/// Waits for a number of requests that takes longer than one limit.
void waitForPolls(const LocalServer& server, std::size_t polls) {
    for (std::size_t some = 50; some < polls; some += 50)
        ASSERT_TRUE(server.waitForRequests(LocalServer::supportedPath, some));
    ASSERT_TRUE(server.waitForRequests(LocalServer::supportedPath, polls));
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

TEST_F(ChangingLine, goesOnWithAnErrorLineWhenNoDescriptorIsLeft) {
    rlimit enough{};
    getrlimit(RLIMIT_NOFILE, &enough);
    const rlimit none{0, enough.rlim_max};
    std::atomic<pid_t> pid = 0;
    // The reader has its connection to the server by then, and needs more for the bus.
    m_whenPollBegins = [&](int poll) {
        if (poll == 20)
            prlimit(pid, RLIMIT_NOFILE, &none, nullptr);
    };
    ReaderProcess reader(shortPauses);
    pid = reader.pid();

    const std::string refused = "Could not connect serial";
    reader.waitForLog(refused);
    prlimit(reader.pid(), RLIMIT_NOFILE, &enough, nullptr);
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
