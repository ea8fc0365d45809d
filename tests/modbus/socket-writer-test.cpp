#include "modbus/reader-world.h"
#include "support/log-capture.h"

#include "house/patience.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
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

} // namespace

/// Stands in for the C library's function of the same name: a process under a sanitizer doesn't
/// live without descriptors of its own.
extern "C" int socket(int domain, int type, int protocol) noexcept {
    if (noDescriptorLeft) {
        errno = EMFILE;
        return -1;
    }
    return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
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

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator fds("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(fds), end(fds)));
}

class SocketWriter : public testing::Test {
protected:
    /// Sends one message and gives what was written to standard error meanwhile.
    std::string send(std::string message, const std::string& path = socketPath) {
        testing::internal::CaptureStderr();
        std::make_shared<SocketClient>(ioContext, path)->send(std::move(message));
        ioContext.run();
        ioContext.restart();
        return testing::internal::GetCapturedStderr();
    }

    LogCapture log;
    boost::asio::io_context ioContext;
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
    testing::internal::CaptureStderr();
    std::make_shared<SocketClient>(ioContext, socketPath)->send("x");
    ASSERT_EQ(closed.get_future().wait_for(house::Patience::limit()), std::future_status::ready);
    ioContext.run();
    peer.join();

    EXPECT_EQ(testing::internal::GetCapturedStderr(), equalSigns);
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

TEST_F(SocketWriter, anEmptyMessageConnectsWritesNothingAndCloses) {
    house::MeteringService service;

    EXPECT_EQ(send(""), equalSigns);

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_THAT(service.texts(), ElementsAre(""));
    EXPECT_EQ(log.take().back(), "notice modbusreaderSocketWriter TRANSFERRED  "
                                 "self->m_buffer.size():0 size:0 socket-writer.cpp:<line>");
}

TEST_F(SocketWriter, afterAnyOutcomeNoObjectSurvivesAndNoDescriptorStaysOpen) {
    send("absent");
    const auto before = openDescriptors();
    std::weak_ptr<SocketClient> failed;
    std::weak_ptr<SocketClient> delivered;
    {
        auto client = std::make_shared<SocketClient>(ioContext, socketPath);
        failed = client;
        client->send("x");
    }
    EXPECT_FALSE(failed.expired());
    ioContext.run();
    ioContext.restart();
    EXPECT_TRUE(failed.expired());
    EXPECT_EQ(openDescriptors(), before);

    const house::MeteringService service;
    const auto withService = openDescriptors();
    {
        auto client = std::make_shared<SocketClient>(ioContext, socketPath);
        delivered = client;
        client->send("x");
    }
    ioContext.run();
    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_TRUE(delivered.expired());
    EXPECT_LE(openDescriptors(), withService);
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

    client->disconnect();
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

TEST(SenderQueue, aMessageDoesNotWaitForAnother) {
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
