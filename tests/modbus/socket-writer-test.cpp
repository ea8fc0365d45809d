#include "modbus/legacy.h"
#include "support/descriptors.h"
#include "support/log-capture.h"

#include "house/patience.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <future>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using orv::modbusreader::SenderQueue;
using orv::modbusreader::SocketClient;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool noDescriptorLeft = false;

/// Names of the sockets that this thread made. The service accepts its own ones on another.
thread_local std::vector<std::string> madeSockets;

} // namespace

/// Stands in for the C library's function of the same name: a process under a sanitizer doesn't
/// live without descriptors of its own.
extern "C" int socket(int domain, int type, int protocol) noexcept {
    if (noDescriptorLeft) {
        errno = EMFILE;
        return -1;
    }
    const int fd = static_cast<int>(syscall(SYS_socket, domain, type, protocol));
    if (fd != -1)
        madeSockets.push_back(nameOfDescriptor(fd));
    return fd;
}

namespace {

constexpr const char* socketPath = "/var/run/orv-metering.sock";
constexpr const char* equalSigns = "=================================\n";
constexpr const char* connecting =
    "debug modbusreaderSocketWriter Connect socket-writer.cpp:<line>";

std::string couldNotConnect(const std::string& reason, const std::string& path = socketPath) {
    return "warning modbusreaderSocketWriter Could not connect ec:" + reason +
           " self->m_endpoint.path():" + path + " socket-writer.cpp:<line>";
}

class SocketWriter : public testing::Test {
protected:
    /// Hands a message to a client of its own, which only its pending handlers keep alive.
    void start(std::string&& message, const std::string& path = socketPath) {
        testing::internal::CaptureStderr();
        madeSockets.clear();
        auto client = std::make_shared<SocketClient>(ioContext, path);
        client->send(std::move(message));
        m_client = client;
        client.reset();
        EXPECT_FALSE(m_client.expired());
    }

    /// Runs the loop to its end and gives what was written to standard error since the start.
    /// Whatever became of the message, neither the client nor its socket is left.
    std::string finish() {
        ioContext.run();
        ioContext.restart();
        EXPECT_TRUE(m_client.expired());
        for (const std::string& made : madeSockets)
            EXPECT_EQ(openDescriptorsOf(made), 0) << made;
        return testing::internal::GetCapturedStderr();
    }

    std::string send(std::string message, const std::string& path = socketPath) {
        start(std::move(message), path);
        return finish();
    }

    LogCapture log;
    boost::asio::io_context ioContext;

private:
    std::weak_ptr<SocketClient> m_client;
};

} // namespace

TEST_F(SocketWriter, aReadingServiceReceivesExactlyTheTextAndThenEndOfStream) {
    house::MeteringService service;

    const std::string written = send(R"({"id":"S"})");

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_THAT(service.texts(), ElementsAre(R"({"id":"S"})"));
    EXPECT_EQ(written, equalSigns);
    EXPECT_THAT(log.take(),
                ElementsAre(connecting,
                            R"(notice modbusreaderSocketWriter Writing  m_buffer:{"id":"S"} )"
                            R"(socket-writer.cpp:<line>)",
                            "notice modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():10 "
                            "size:10 socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, anAbsentServiceCostsOneLineOfEqualSignsAndOneWarning) {
    EXPECT_EQ(send("x"), equalSigns);

    EXPECT_THAT(log.take(), ElementsAre(connecting, couldNotConnect("No such file or directory")));
}

TEST_F(SocketWriter, aServiceThatIsNotListeningRefuses) {
    boost::asio::local::stream_protocol::socket bound(ioContext);
    bound.open();
    bound.bind({socketPath});

    EXPECT_EQ(send("x"), equalSigns);

    EXPECT_THAT(log.take(), ElementsAre(connecting, couldNotConnect("Connection refused")));
}

TEST_F(SocketWriter, aFullBacklogOfTheServiceLosesTheMessage) {
    boost::asio::local::stream_protocol::acceptor acceptor(ioContext);
    acceptor.open();
    acceptor.bind({socketPath});
    acceptor.listen(0);
    boost::asio::local::stream_protocol::socket waiting(ioContext);
    waiting.connect({socketPath});

    EXPECT_EQ(send("x"), equalSigns);

    // Boost's word for a connect that would have to wait.
    EXPECT_THAT(log.take(), ElementsAre(connecting, couldNotConnect("No buffer space available")));
}

TEST_F(SocketWriter, theEqualSignsComeAgainAfterAStandardErrorThatWasFull) {
    const int standardError = dup(STDERR_FILENO);
    const int full = open("/dev/full", O_WRONLY);
    dup2(full, STDERR_FILENO);
    auto client = std::make_shared<SocketClient>(ioContext, socketPath);
    client->send("lost line");
    client.reset();
    ioContext.run();
    dup2(standardError, STDERR_FILENO);
    close(full);
    close(standardError);

    ioContext.restart();
    EXPECT_EQ(send("x"), equalSigns);
    log.take();
}

TEST_F(SocketWriter, withoutADescriptorLeftTheSameWarningTellsTheSocketsError) {
    noDescriptorLeft = true;
    const std::string written = send("x");
    noDescriptorLeft = false;

    EXPECT_EQ(written, equalSigns);
    EXPECT_THAT(log.take(), ElementsAre(connecting, couldNotConnect("Too many open files")));
}

TEST_F(SocketWriter, aPeerThatClosesAtOnceCostsAnErrorLineAndNoSignal) {
    boost::asio::local::stream_protocol::acceptor acceptor(ioContext, {socketPath});
    std::promise<void> closed;
    // Accepts and closes while the client waits for its turn in the loop.
    std::thread peer([&] {
        acceptor.accept().close();
        closed.set_value();
    });
    start("x");
    ASSERT_EQ(closed.get_future().wait_for(house::Patience::limit()), std::future_status::ready);
    const std::string written = finish();
    peer.join();

    EXPECT_EQ(written, equalSigns);
    EXPECT_THAT(
        log.take(),
        ElementsAre(connecting,
                    "notice modbusreaderSocketWriter Writing  m_buffer:x socket-writer.cpp:<line>",
                    "notice modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():1 size:0 "
                    "socket-writer.cpp:<line>",
                    "error modbusreaderSocketWriter ec:Broken pipe socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, aShortWriteDropsTheRestWithoutAnError) {
    house::MeteringService service;
    const std::string message(1U << 20U, 'x');

    send(message);

    ASSERT_TRUE(service.waitForMessages(1));
    const std::string received = service.texts().front();
    EXPECT_LT(received.size(), message.size());
    EXPECT_EQ(received, message.substr(0, received.size()));
    EXPECT_EQ(log.take().back(),
              vx::str("notice modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():1048576 "
                      "size:",
                      received.size(), " socket-writer.cpp:<line>"));
}

TEST_F(SocketWriter, aLongMessageGoesOutWholeInOneWrite) {
    house::MeteringService service;
    const std::string message(50000, 'x');

    send(message);

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_THAT(service.texts(), ElementsAre(message));
    EXPECT_EQ(log.take().back(), "notice modbusreaderSocketWriter TRANSFERRED  "
                                 "self->m_buffer.size():50000 size:50000 socket-writer.cpp:<line>");
}

TEST_F(SocketWriter, anEmptyMessageConnectsWritesNothingAndCloses) {
    house::MeteringService service;

    EXPECT_EQ(send(""), equalSigns);

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_THAT(service.texts(), ElementsAre(""));
    EXPECT_EQ(log.take().back(), "notice modbusreaderSocketWriter TRANSFERRED  "
                                 "self->m_buffer.size():0 size:0 socket-writer.cpp:<line>");
}

TEST_F(SocketWriter, afterAnyOutcomeNoObjectSurvivesAndNoDescriptorStaysOpen) {
    // Each sending looks for what is left of it by itself.
    send("absent service");
    noDescriptorLeft = true;
    send("no descriptor");
    noDescriptorLeft = false;
    const house::MeteringService service;
    send("delivered");
    send("");
    send(std::string(1U << 20U, 'x'));

    EXPECT_TRUE(service.waitForMessages(3));
    log.take();
}

TEST_F(SocketWriter, aMessageIsMovedIn) {
    std::string message(1000, 'x');

    start(std::move(message));

    EXPECT_TRUE(message.empty()); // NOLINT(bugprone-use-after-move): the move is what is tested
    finish();
    log.take();
}

TEST_F(SocketWriter, aPathOf107CharactersIsTakenAndALongerOneThrows) {
    EXPECT_NO_THROW(SocketClient(ioContext, std::string(107, 'x')));
    try {
        SocketClient(ioContext, std::string(108, 'x'));
        FAIL() << "A path of 108 characters was taken";
    } catch (const boost::system::system_error& e) {
        EXPECT_EQ(e.code(), boost::asio::error::name_too_long);
    }
}

TEST_F(SocketWriter, theEmptyPathFailsOnlyAtTheConnect) {
    send("x", "");

    EXPECT_THAT(log.take(), ElementsAre(connecting, testing::StartsWith(
                                                        "warning modbusreaderSocketWriter Could "
                                                        "not connect ec:")));
}

TEST_F(SocketWriter, disconnectDoesNothing) {
    house::MeteringService service;
    auto client = std::make_shared<SocketClient>(ioContext, socketPath);
    client->send("x");
    log.take();

    client->disconnect();

    EXPECT_THAT(log.take(), IsEmpty());
    client.reset();
    ioContext.run();

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_THAT(service.texts(), ElementsAre("x"));
    log.take();
}

TEST(SenderQueue, anyNumberOfCallsCreatesAsManyIndependentConnections) {
    const LogCapture log(LogCapture::Mode::lenient);
    house::MeteringService service;
    boost::asio::io_context ioContext;
    SenderQueue queue(ioContext, socketPath);

    for (int i = 0; i < 20; ++i)
        queue.send(std::to_string(i));
    ioContext.run();

    ASSERT_TRUE(service.waitForMessages(20));
    EXPECT_THAT(service.texts(), testing::SizeIs(20));
    EXPECT_TRUE(service.waitForConnections(20));
}

TEST(SenderQueue, sendReturnsBeforeAByteIsWritten) {
    LogCapture log;
    house::MeteringService service;
    boost::asio::io_context ioContext;
    SenderQueue queue(ioContext, socketPath);

    queue.send("x");

    // Not even the connection is complete until the loop runs.
    EXPECT_THAT(log.take(), ElementsAre(connecting));
    EXPECT_THAT(service.texts(), IsEmpty());
    ioContext.run();
    EXPECT_TRUE(service.waitForMessages(1));
    log.take();
}

TEST(SenderQueue, eachMessageConnectsAtOnceWithoutWaitingForAnother) {
    LogCapture log;
    house::MeteringService service;
    boost::asio::io_context ioContext;
    SenderQueue queue(ioContext, socketPath);

    queue.send("first");
    queue.send("second");

    // The loop, without which neither message can be finished, hasn't run.
    EXPECT_THAT(log.take(), ElementsAre(connecting, connecting));
    EXPECT_TRUE(service.waitForConnections(2));
    ioContext.run();
    ASSERT_TRUE(service.waitForMessages(2));
    EXPECT_THAT(service.texts(), testing::UnorderedElementsAre("first", "second"));
    log.take();
}

TEST(SenderQueue, aLostMessageDoesNotHoldUpTheNext) {
    const LogCapture log(LogCapture::Mode::lenient);
    boost::asio::io_context ioContext;
    SenderQueue queue(ioContext, socketPath);
    queue.send("lost, as no service is there");
    house::MeteringService service;

    queue.send("arrives");
    ioContext.run();

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_THAT(service.texts(), ElementsAre("arrives"));
}

TEST(SenderQueue, aPathTooLongForASocketThrowsFromSend) {
    boost::asio::io_context ioContext;
    SenderQueue queue(ioContext, std::string(108, 'x'));

    EXPECT_THROW(queue.send("x"), boost::system::system_error);
}
