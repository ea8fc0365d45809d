// What the real executable makes of a metering service that is not well.

// Asio of this Boost release uses std::exchange without including it.
#include <utility>

#include "e2e/process-world.h"
#include "support/lines.h"
#include "support/temporary-directory.h"

#include "house/patience.h"
#include "house/process-figures.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/datagram_protocol.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <poll.h>
#include <sys/stat.h>

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

constexpr const char* socketPath = "/var/run/orv-metering.sock";

constexpr const char* messageOf7 = R"({"id":"S-7","slaveAddress":7,"meteringType":"modbus",)"
                                   R"("lastChanged":"<time>","powerConsumed":70.0})";
constexpr const char* messageOf8 = R"({"id":"S-8","slaveAddress":8,"meteringType":"modbus",)"
                                   R"("lastChanged":"<time>","powerConsumed":80.0})";

/// A metering service that does nothing by itself.
class IdleService {
public:
    /// As many connections as @p queue, and one more, are taken before any is accepted.
    explicit IdleService(int queue) {
        m_acceptor.open();
        m_acceptor.bind({socketPath});
        m_acceptor.listen(queue);
    }
    ~IdleService() { std::filesystem::remove(socketPath); }
    IdleService(const IdleService&) = delete;
    IdleService& operator=(const IdleService&) = delete;

    /// Accepts a connection that waits, or comes in time.
    void accept() {
        m_connections.emplace_back(m_io);
        if (isReady(m_acceptor.native_handle()))
            m_acceptor.accept(m_connections.back());
    }

    /// What comes on the connection that was accepted last, up to its end.
    std::string lastText() {
        Protocol::socket& socket = m_connections.back();
        std::string text;
        std::array<char, 4096> bytes{};
        boost::system::error_code end;
        while (!end && isReady(socket.native_handle()))
            text.append(bytes.data(), socket.read_some(boost::asio::buffer(bytes), end));
        return text;
    }

    /// Reads one byte of that connection and closes it.
    void leaveAfterOneByte() {
        char byte = 0;
        if (isReady(m_connections.back().native_handle()))
            m_connections.back().receive(boost::asio::buffer(&byte, 1));
        m_connections.pop_back();
    }

private:
    using Protocol = boost::asio::local::stream_protocol;

    /// Fails the test when the limit passes.
    static bool isReady(int descriptor) {
        pollfd wait{descriptor, POLLIN, 0};
        const auto limit = static_cast<int>(house::Patience::limit().count());
        const bool ready = ::poll(&wait, 1, limit) > 0;
        EXPECT_TRUE(ready) << "Nothing came";
        return ready;
    }

    boost::asio::io_context m_io;
    Protocol::acceptor m_acceptor{m_io};
    std::vector<Protocol::socket> m_connections;
};

/// A home of two meters, the first of which meets the hostile service.
class HostileService : public ProcessWorld {
protected:
    HostileService() {
        serve(twoMeters);
        bus->unit(7).holding(10, {70});
        bus->unit(8).holding(10, {80});
    }

    /// Starts the executable, whose pauses pass at once.
    void start() {
        ProcessWorld::start(
            {"LD_PRELOAD=" SHORT_PAUSES_LIBRARY, "ASAN_OPTIONS=verify_asan_link_order=0"});
    }

    /// Calls @p callback at the beginning of each poll with its number.
    void atEachPoll(const std::function<void(std::size_t poll)>& callback) {
        whenRequested([this, callback](const house::Request& request) {
            if (request.path == LocalServer::rtuConfigPath)
                callback(server->requestCount(request.path));
        });
    }

    /// Calls @p callback when the first message has been offered, before the second one is.
    void betweenTheFirstMessages(const std::function<void()>& callback) {
        bus->beforeAnswer([callback, answers = 0]() mutable {
            if (++answers == 2)
                callback();
        });
    }
};

} // namespace

TEST_F(HostileService, oneThatClosesAtOnceLosesTheMessagesOfItsConnectionsAlone) {
    service->acceptAndClose(true);
    betweenTheFirstMessages([this] {
        EXPECT_TRUE(service->waitForConnections(1));
        service->acceptAndClose(false);
    });
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer", 3));
}

TEST_F(HostileService, oneThatDisappearsBeforeItAcceptsLosesItsQueueWithAnError) {
    closeService();
    auto idle = std::make_unique<IdleService>(10);
    betweenTheFirstMessages([&] { idle.reset(); });
    atEachPoll([this](std::size_t poll) {
        if (poll == 2)
            openService();
    });
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer", 3));
}

TEST_F(HostileService, oneThatDisappearsInMidMessageLosesAllThatItHasWithoutAWord) {
    closeService();
    auto idle = std::make_unique<IdleService>(10);
    atEachPoll([&](std::size_t poll) {
        if (poll != 2)
            return;
        idle->accept();
        idle->leaveAfterOneByte();
        idle.reset();
        openService();
    });
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer", 3));
}

// The message that had found a place in the queue arrives, two polls old.
TEST_F(HostileService, oneWithAFullQueueLosesWhatFindsNoPlaceInIt) {
    closeService();
    auto idle = std::make_unique<IdleService>(0);
    std::string late;
    atEachPoll([&](std::size_t poll) {
        if (poll != 3)
            return;
        idle->accept();
        late = idle->lastText();
        idle.reset();
        openService();
    });
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer", 4));
    EXPECT_EQ(withoutTime(late), messageOf7);
}

// Each message has a connection of its own, so none waits for another to be read.
TEST_F(HostileService, oneThatAcceptsAndNeverReadsHoldsNothingUp) {
    closeService();
    IdleService idle(10);
    house::PollFigures figures;
    atEachPoll([&](std::size_t poll) {
        figures.pollBegins();
        if (poll > 1 && poll <= 20) {
            idle.accept();
            idle.accept();
        }
    });
    start();
    figures.takeFrom(reader->pid());

    // The writes of a poll end with the next one.
    EXPECT_THAT(
        linesWith(logUntil("retry timer", 20), "TRANSFERRED"),
        AllOf(SizeIs(38), Each("notice modbusreaderSocketWriter TRANSFERRED  "
                               "self->m_buffer.size():115 size:115 socket-writer.cpp:<line>")));
    EXPECT_EQ(withoutTime(idle.lastText()), messageOf8);
    end();
    EXPECT_EQ(figures.at(20).descriptors, figures.at(3).descriptors);
}

TEST_F(HostileService, whateverElseStandsInItsPlaceCostsAWarningAndStays) {
    closeService();
    boost::asio::io_context io;
    boost::asio::local::datagram_protocol::socket datagrams(io);
    const std::vector<std::function<void()>> things = {
        [] { std::ofstream(socketPath) << "of somebody else"; },
        [] { std::filesystem::create_directory(socketPath); },
        [] { ::mkfifo(socketPath, 0666); },
        [] { std::filesystem::create_symlink(socketPath, socketPath); },
        [] { std::filesystem::create_symlink("/nowhere", socketPath); },
        [&] {
            datagrams.open();
            datagrams.bind({socketPath});
        },
        [this] { openService(); },
    };
    std::string file;
    std::vector<std::filesystem::file_type> kept;
    atEachPoll([&](std::size_t poll) {
        if (poll > things.size())
            return;
        if (poll == 2)
            file = contentOf(socketPath);
        if (poll > 1)
            kept.push_back(std::filesystem::symlink_status(socketPath).type());
        std::filesystem::remove(socketPath);
        things[poll - 1]();
    });
    start();

    const std::string account = transcriptUntil("retry timer", things.size() + 1);

    // Before what it is given in each poll ends with this function.
    end();
    expectTranscriptOfFile(account);
    EXPECT_EQ(file, "of somebody else");
    using Type = std::filesystem::file_type;
    EXPECT_THAT(kept, ElementsAre(Type::regular, Type::directory, Type::fifo, Type::symlink,
                                  Type::symlink, Type::socket));
}
