// Asio of this Boost release uses std::exchange without including it.
#include <utility>

#include "e2e/process-world.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <vector>

using testing::ElementsAre;

namespace {

using Delivery = ProcessWorld;

/// A metering service that looks at its connections only when it is told to.
class WatchedService {
public:
    /// When the bytes of a message and when its end were there, as numbers of looks.
    struct Arrival {
        int bytes = 0;
        int end = 0;

        bool operator==(const Arrival&) const = default;
    };

    WatchedService() { m_acceptor.non_blocking(true); }

    void look() {
        ++m_looks;
        boost::system::error_code none;
        for (auto socket = m_acceptor.accept(none); !none; socket = m_acceptor.accept(none)) {
            socket.non_blocking(true);
            m_sockets.push_back(std::move(socket));
        }
        m_arrivals.resize(m_sockets.size());
        for (std::size_t i = 0; i < m_sockets.size(); ++i)
            look(m_sockets[i], m_arrivals[i]);
    }

    const std::vector<Arrival>& arrivals() const { return m_arrivals; }

private:
    using Protocol = boost::asio::local::stream_protocol;

    void look(Protocol::socket& socket, Arrival& arrival) const {
        std::array<char, 4096> bytes{};
        boost::system::error_code ec;
        while (arrival.end == 0 && !ec) {
            if (socket.read_some(boost::asio::buffer(bytes), ec) > 0 && arrival.bytes == 0)
                arrival.bytes = m_looks;
            if (ec == boost::asio::error::eof)
                arrival.end = m_looks;
        }
    }

    boost::asio::io_context m_io;
    Protocol::acceptor m_acceptor{m_io, {"/var/run/orv-metering.sock"}};
    std::vector<Protocol::socket> m_sockets;
    std::vector<Arrival> m_arrivals;
    int m_looks = 0;
};

} // namespace

TEST_F(Delivery, aReadingTravelsFromTcpMeterToMeteringSocketByteForByte) {
    start();

    EXPECT_EQ(transcriptUntil("retry timer"), firstPoll);
}

TEST_F(Delivery, aReadingTravelsFromRtuMeterToMeteringSocketByteForByte) {
    useLine();
    connectMeter();
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer"));
}

TEST_F(Delivery, theLineOfAnOfferComesAtOnceThoughStandardErrorHasABuffer) {
    start({"ASAN_OPTIONS=verify_asan_link_order=0"}, {}, {"/usr/bin/stdbuf", "--error=4096"});

    EXPECT_EQ(transcriptUntil("retry timer"), firstPoll);
}

TEST_F(Delivery, thePollsWholeLogTellsTheRoadOfTheReading) {
    start();

    std::string text;
    for (const std::string& line : logUntil("retry timer"))
        text += line + "\n";
    expectTranscriptOfFile(text);
}

TEST_F(Delivery, theMessageOfAPollLeavesOnlyWhenThePollHasEnded) {
    start();

    ASSERT_TRUE(service->waitForMessages(1));

    // The second of sleep at the poll's end lies between the last request and the write.
    const auto lastRequest = server->requests(LocalServer::supportedPath).front().arrived;
    EXPECT_GE(service->messages().front().arrived - lastRequest, std::chrono::seconds(1));
}

TEST_F(Delivery, fromTheSecondPollOnAMessageEndsOnePollAfterItsBytes) {
    closeService();
    WatchedService watched;
    // The reader waits for its answer meanwhile, at the very beginning of a poll.
    whenRequested([&](const house::Request& request) {
        if (request.path == LocalServer::rtuConfigPath &&
            server->requestCount(LocalServer::rtuConfigPath) <= 5)
            watched.look();
    });

    start();
    ASSERT_TRUE(server->waitForRequests(LocalServer::attachedPath, 5));

    // The first poll runs before the event loop, and its message is finished before a tick.
    using Arrival = WatchedService::Arrival;
    EXPECT_THAT(watched.arrivals(),
                ElementsAre(Arrival{2, 2}, Arrival{3, 4}, Arrival{4, 5}, Arrival{5, 0}));
    end();
}

TEST_F(Delivery, everyPollOffersTheReadingAnewOverOneConnectionThoughNothingChanged) {
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer", 4));
}
