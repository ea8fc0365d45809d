// What months do to the real executable: many polls with faults among them, and many changes of the
// serial parameters. Its pauses are shortened, nothing else.

#include "e2e/process-world.h"
#include "support/lines.h"

#include "house/process-figures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <iterator>

using house::Answer;
using house::PollFigures;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

const std::vector<std::string> shortPauses = {"LD_PRELOAD=" SHORT_PAUSES_LIBRARY};

/// Waits for a number of requests that takes longer than one limit.
void waitForPolls(const house::LocalServer& server, std::size_t polls) {
    constexpr const char* path = house::LocalServer::supportedPath;
    for (std::size_t some = 50; some < polls; some += 50)
        ASSERT_TRUE(server.waitForRequests(path, some));
    ASSERT_TRUE(server.waitForRequests(path, polls));
}

/// As many as the service has.
constexpr std::size_t usualDescriptors = 1024;

/// Power of a message, which is the number of the poll.
int pollOf(const std::string& message) {
    const std::string key = "\"powerConsumed\":";
    const auto at = message.find(key);
    return at == std::string::npos ? 0 : std::stoi(message.substr(at + key.size()));
}

/// A world whose log stays in its file: to read that of a thousand polls into the transcript takes
/// as long as the polls.
class Soak : public World {
protected:
    Soak() {
        serve(oneMeter);
        bus->unit(7).holding(20, {0, 2});
        whenRequested([this](const house::Request& request) {
            if (request.path != LocalServer::rtuConfigPath)
                return;
            m_figures.pollBegins();
            bus->unit(7).input(10, {static_cast<std::uint16_t>(m_figures.poll())});
        });
    }
    /// The figures are those of a process that runs.
    ~Soak() override { closeServer(); }

    PollFigures m_figures;
    std::unique_ptr<ReaderProcess> m_reader;
};

} // namespace

TEST_F(Soak, aThousandPollsWithAFaultInEveryTenthLoseTheMessagesOfTheFaultsAlone) {
    constexpr int polls = 1000;
    const Answer faults[] = {Answer::withStatus(500), Answer::withBody("{"), Answer::dropped()};
    for (std::size_t i = 0; i < polls / 10; ++i) {
        server->answerNext(LocalServer::supportedPath, Answer(), 9);
        server->answerNext(LocalServer::supportedPath, faults[i % std::size(faults)]);
    }

    m_reader = std::make_unique<ReaderProcess>(shortPauses);
    m_figures.takeFrom(m_reader->pid());
    waitForPolls(*server, polls + 2);

    std::vector<int> expected;
    for (int poll = 1; poll <= polls; ++poll)
        if (poll % 10 != 0)
            expected.push_back(poll);
    ASSERT_TRUE(service->waitForMessages(expected.size()));
    std::vector<int> delivered;
    for (const std::string& text : service->texts())
        delivered.push_back(pollOf(text));
    delivered.resize(expected.size());
    EXPECT_THAT(delivered, ElementsAreArray(expected));
    // Each kind of fault was met before. The heap touches its last page in the 104th poll, where a
    // handle of the HTTP client first lies at its end, and keeps that measure for 10,000 polls.
    EXPECT_EQ(m_figures.at(999).descriptors, m_figures.at(59).descriptors);
    EXPECT_LE(m_figures.at(999).residentKilobytes, m_figures.at(199).residentKilobytes);
    EXPECT_TRUE(m_reader->running());
}

/// A home on a serial line whose parameters change with every poll.
class ChangingLine : public ProcessWorld {
protected:
    ChangingLine() {
        useLine();
        connectMeter();
        whenRequested([this](const house::Request& request) {
            if (request.path != LocalServer::rtuConfigPath)
                return;
            m_figures.pollBegins();
            m_whenPollBegins(m_figures.poll());
        });
        const std::string parameters =
            R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})";
        for (int polls = 0; polls < 1000; polls += 2) {
            server->answerNext(LocalServer::rtuConfigPath, Answer::withBody(parameters));
            server->answerNext(LocalServer::rtuConfigPath, Answer::withBody(oneMeter.rtuConfig));
        }
    }

    void TearDown() override {
        // The figures are those of a process that runs.
        closeServer();
        // The line can't be set up for RS-485, so there is an error of each change.
        end();
        ProcessWorld::TearDown();
    }

    void startWithFigures() {
        start(shortPauses);
        m_figures.takeFrom(reader->pid());
    }

    PollFigures m_figures;
    std::function<void(int poll)> m_whenPollBegins = [](int) {};
};

TEST_F(ChangingLine, keepsOneDescriptorMoreForEachOfTwoHundredChanges) {
    constexpr int changes = 200;
    startWithFigures();

    waitForPolls(*server, changes + 10);

    for (int poll = 5; poll < 5 + changes; ++poll)
        EXPECT_EQ(m_figures.at(poll + 1).descriptors, m_figures.at(poll).descriptors + 1) << poll;
}

TEST_F(ChangingLine, goesOnWithErrorLinesWhenItsChangesHaveUsedUpTheDescriptors) {
    constexpr int poll = 20;
    constexpr int changes = 10;
    m_whenPollBegins = [&](int begun) {
        if (begun == poll)
            reader->allowDescriptors(m_figures.at(poll).descriptors + changes);
    };
    startWithFigures();

    // A request needs more of them than the bus, so it is the first to go without.
    const std::string failed = "error HttpClient Request failed: GET "
                               "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/";
    const auto lines = logUntil(failed + "rtuconfig", 20);
    ASSERT_FALSE(HasFailure());
    const auto seen = service->messages().size();
    reader->allowDescriptors(usualDescriptors);
    EXPECT_TRUE(service->waitForMessages(seen + 20));

    for (int change = 0; change < changes; ++change)
        EXPECT_EQ(m_figures.at(poll + change + 1).descriptors,
                  m_figures.at(poll + change).descriptors + 1)
            << change;
    const std::string reason = ", Reason: Failed to connect to 127.0.0.1 port 8088 after <ms> ms: "
                               "Couldn't connect to server";
    const std::string warning =
        "warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>";
    EXPECT_THAT(linesBetween(lines, failed + "rtuconfig", "retry timer"),
                ElementsAre(failed + "rtuconfig" + reason, warning, failed + "attached" + reason,
                            "notice modbusSerial Attached Meters result: toolkit.cpp:<line>",
                            warning, failed + "config/supported" + reason, warning));
    EXPECT_TRUE(reader->running());
}

TEST_F(ChangingLine, goesOnWithAWarningWhenAReconnectFindsNoDescriptor) {
    // The reader has its connection to the server by then, and needs more for the bus.
    m_whenPollBegins = [&](int poll) {
        if (poll == 20)
            reader->allowDescriptors(0);
    };
    startWithFigures();

    const std::string refused = "Could not connect serial";
    const auto linesBefore = logUntil(refused);
    reader->allowDescriptors(usualDescriptors);
    const auto seen = service->messages().size();
    EXPECT_TRUE(service->waitForMessages(seen + 20));

    EXPECT_EQ(linesBefore.back(), "error modbusSerial RS485 could not be configured "
                                  "serialDevice:/dev/ttymxc2 toolkit.cpp:<line>");
    EXPECT_EQ(log(refused).front(),
              "warning modbusSerial Could not connect serial "
              "strerror((*__errno_location ())):Too many open files toolkit.cpp:<line>");
    EXPECT_TRUE(reader->running());
}
