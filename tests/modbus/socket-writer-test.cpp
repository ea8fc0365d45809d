#include "modbus/reader-world.h"
#include "support/descriptors.h"

#include "house/patience.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <future>
#include <thread>
#include <unistd.h>

using orv::modbusreader::SocketClient;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* socketPath = "/var/run/orv-metering.sock";
constexpr const char* equalSigns = "=================================\n";
constexpr const char* connecting =
    "debug modbusreaderSocketWriter Connect socket-writer.cpp:<line>";

std::string couldNotConnect(const std::string& reason) {
    return "warning modbusreaderSocketWriter Could not connect ec:" + reason +
           " self->m_endpoint.path():/var/run/orv-metering.sock socket-writer.cpp:<line>";
}

class SocketWriter : public ReaderWorld {
protected:
    /// Hands a message to a client of its own, which only its pending handlers keep alive.
    void start(std::string&& message, const std::string& path = socketPath) {
        testing::internal::CaptureStderr();
        m_made.clear();
        auto client = std::make_shared<SocketClient>(reader.ioContext, path);
        client->send(std::move(message));
        m_client = client;
        client.reset();
        EXPECT_FALSE(m_client.expired());
    }

    /// Runs the loop to its end and gives what was written to standard error since the start.
    /// Whatever became of the message, neither the client nor its socket is left.
    std::string finish() {
        deliver();
        EXPECT_TRUE(m_client.expired());
        for (const std::string& made : m_made)
            EXPECT_EQ(openDescriptorsOf(made), 0) << made;
        return testing::internal::GetCapturedStderr();
    }

    std::string send(std::string message, const std::string& path = socketPath) {
        start(std::move(message), path);
        return finish();
    }

    /// A process under a sanitizer doesn't live without descriptors of its own.
    std::string sendWithoutADescriptorLeft(std::string message) {
        const auto none = c_calls::socket.replaceBy([](int, int, int) {
            errno = EMFILE;
            return -1;
        });
        return send(std::move(message));
    }

private:
    std::weak_ptr<SocketClient> m_client;
    /// Names of the sockets made since the start.
    std::vector<std::string> m_made;
    decltype(c_calls::socket)::Scope m_socket =
        c_calls::socket.replaceBy([this](int domain, int type, int protocol) {
            const int fd = c_calls::socket.real(domain, type, protocol);
            m_made.push_back(nameOfDescriptor(fd));
            return fd;
        });
};

} // namespace

TEST_F(SocketWriter, aReadingServiceReceivesExactlyTheTextAndThenEndOfStream) {
    EXPECT_EQ(send(R"({"id":"S"})"), equalSigns);

    EXPECT_THAT(messages(), ElementsAre(R"({"id":"S"})"));
    EXPECT_THAT(log(),
                ElementsAre(connecting,
                            R"(notice modbusreaderSocketWriter Writing  m_buffer:{"id":"S"} )"
                            R"(socket-writer.cpp:<line>)",
                            "notice modbusreaderSocketWriter TRANSFERRED  "
                            "self->m_buffer.size():10 size:10 socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, anAbsentServiceCostsOneLineOfEqualSignsAndOneWarning) {
    closeService();

    EXPECT_EQ(send("x"), equalSigns);

    EXPECT_THAT(log(), ElementsAre(connecting, couldNotConnect("No such file or directory")));
}

TEST_F(SocketWriter, aServiceThatIsNotListeningRefuses) {
    closeService();
    boost::asio::local::stream_protocol::socket bound(reader.ioContext);
    bound.open();
    bound.bind({socketPath});

    EXPECT_EQ(send("x"), equalSigns);

    EXPECT_THAT(log(), ElementsAre(connecting, couldNotConnect("Connection refused")));
}

TEST_F(SocketWriter, aFullBacklogOfTheServiceLosesTheMessage) {
    closeService();
    boost::asio::local::stream_protocol::acceptor acceptor(reader.ioContext);
    acceptor.open();
    acceptor.bind({socketPath});
    acceptor.listen(0);
    boost::asio::local::stream_protocol::socket waiting(reader.ioContext);
    waiting.connect({socketPath});

    EXPECT_EQ(send("x"), equalSigns);

    // Boost's word for a connect that would have to wait.
    EXPECT_THAT(log(), ElementsAre(connecting, couldNotConnect("No buffer space available")));
}

TEST_F(SocketWriter, theEqualSignsComeAgainAfterAStandardErrorThatWasFull) {
    const int standardError = dup(STDERR_FILENO);
    const int full = open("/dev/full", O_WRONLY);
    dup2(full, STDERR_FILENO);
    reader.senderQueue.send("lost line");
    deliver();
    dup2(standardError, STDERR_FILENO);
    close(full);
    close(standardError);

    EXPECT_EQ(send("x"), equalSigns);
}

TEST_F(SocketWriter, withoutADescriptorLeftTheSameWarningTellsTheSocketsError) {
    EXPECT_EQ(sendWithoutADescriptorLeft("x"), equalSigns);

    EXPECT_THAT(log(), ElementsAre(connecting, couldNotConnect("Too many open files")));
}

TEST_F(SocketWriter, aPeerThatClosesAtOnceCostsAnErrorLineAndNoSignal) {
    closeService();
    boost::asio::local::stream_protocol::acceptor acceptor(reader.ioContext, {socketPath});
    std::promise<void> closed;
    // Accepts and closes while the client waits for its turn in the loop.
    std::thread peer([&] {
        acceptor.accept().close();
        closed.set_value();
    });
    start("x");
    ASSERT_EQ(closed.get_future().wait_for(house::Patience::limit()), std::future_status::ready);
    EXPECT_EQ(finish(), equalSigns);
    peer.join();

    EXPECT_THAT(
        log(),
        ElementsAre(connecting,
                    "notice modbusreaderSocketWriter Writing  m_buffer:x socket-writer.cpp:<line>",
                    "notice modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():1 size:0 "
                    "socket-writer.cpp:<line>",
                    "error modbusreaderSocketWriter ec:Broken pipe socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, aShortWriteDropsTheRestWithoutAnError) {
    const std::string message(1U << 20U, 'x');

    send(message);

    ASSERT_TRUE(service->waitForMessages(1));
    const std::string received = service->texts().front();
    EXPECT_LT(received.size(), message.size());
    EXPECT_EQ(received, message.substr(0, received.size()));
    EXPECT_EQ(log().back(),
              vx::str("notice modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():1048576 "
                      "size:",
                      received.size(), " socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, aLongMessageGoesOutWholeInOneWrite) {
    const std::string message(50000, 'x');

    send(message);

    EXPECT_THAT(messages(), ElementsAre(message));
    EXPECT_THAT(log("TRANSFERRED"),
                ElementsAre("notice modbusreaderSocketWriter TRANSFERRED  "
                            "self->m_buffer.size():50000 size:50000 socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, anEmptyMessageConnectsWritesNothingAndCloses) {
    EXPECT_EQ(send(""), equalSigns);

    EXPECT_THAT(messages(), ElementsAre(""));
    EXPECT_EQ(log().back(), "notice modbusreaderSocketWriter TRANSFERRED  "
                            "self->m_buffer.size():0 size:0 socket-writer.cpp:<line>");
}

TEST_F(SocketWriter, afterAnyOutcomeNoObjectSurvivesAndNoDescriptorStaysOpen) {
    // Each sending looks for what is left of it by itself.
    closeService();
    send("absent service");
    sendWithoutADescriptorLeft("no descriptor");
    EXPECT_THAT(complaints(), SizeIs(2));
    openService();
    send("delivered");
    send("");
    send(std::string(1U << 20U, 'x'));

    EXPECT_TRUE(service->waitForMessages(3));
}

TEST_F(SocketWriter, aMessageIsMovedIn) {
    std::string message(1000, 'x');

    start(std::move(message));

    EXPECT_TRUE(message.empty()); // NOLINT(bugprone-use-after-move): the move is what is tested
    finish();
}

TEST_F(SocketWriter, aPathOf107CharactersIsTakenAndALongerOneThrows) {
    EXPECT_NO_THROW(SocketClient(reader.ioContext, std::string(107, 'x')));
    try {
        const SocketClient client(reader.ioContext, std::string(108, 'x'));
        FAIL() << "A path of 108 characters was taken";
    } catch (const boost::system::system_error& e) {
        EXPECT_EQ(e.code(), boost::asio::error::name_too_long);
    }
}

TEST_F(SocketWriter, theEmptyPathFailsOnlyAtTheConnect) {
    send("x", "");

    EXPECT_THAT(
        log(), ElementsAre(connecting, testing::StartsWith("warning modbusreaderSocketWriter Could "
                                                           "not connect ec:")));
}

TEST_F(SocketWriter, disconnectDoesNothing) {
    auto client = std::make_shared<SocketClient>(reader.ioContext, socketPath);
    client->send("x");
    forget();

    client->disconnect();

    EXPECT_THAT(log(), IsEmpty());
    client.reset();
    deliver();
    EXPECT_THAT(messages(), ElementsAre("x"));
}

namespace {

class SenderQueue : public ReaderWorld {};

} // namespace

TEST_F(SenderQueue, anyNumberOfCallsCreatesAsManyIndependentConnections) {
    for (int i = 0; i < 20; ++i)
        reader.senderQueue.send(std::to_string(i));
    deliver();

    EXPECT_THAT(messages(), SizeIs(20));
    EXPECT_TRUE(service->waitForConnections(20));
}

TEST_F(SenderQueue, sendReturnsBeforeAByteIsWritten) {
    reader.senderQueue.send("x");

    // Not even the connection is complete until the loop runs.
    EXPECT_THAT(log(), ElementsAre(connecting));
    EXPECT_THAT(service->texts(), IsEmpty());
    deliver();
    EXPECT_THAT(messages(), ElementsAre("x"));
}

TEST_F(SenderQueue, eachMessageConnectsAtOnceWithoutWaitingForAnother) {
    reader.senderQueue.send("first");
    reader.senderQueue.send("second");

    // The loop, without which neither message can be finished, hasn't run.
    EXPECT_THAT(log(), ElementsAre(connecting, connecting));
    EXPECT_TRUE(service->waitForConnections(2));
    deliver();
    EXPECT_THAT(messages(), ElementsAre("first", "second"));
}

TEST_F(SenderQueue, aLostMessageDoesNotHoldUpTheNext) {
    closeService();
    reader.senderQueue.send("lost, as no service is there");
    openService();

    reader.senderQueue.send("arrives");
    deliver();

    EXPECT_THAT(complaints(), SizeIs(1));
    EXPECT_THAT(messages(), ElementsAre("arrives"));
}

TEST_F(SenderQueue, aPathTooLongForASocketThrowsFromSend) {
    orv::modbusreader::SenderQueue queue(reader.ioContext, std::string(108, 'x'));

    EXPECT_THROW(queue.send("x"), boost::system::system_error);
}
