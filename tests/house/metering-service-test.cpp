#include "house/metering-service.h"
#include "self-replacing-callback.h"
#include "support/temporary-directory.h"
#include "support/thrown-by.h"

#include <algorithm>
#include <utility>

#include <boost/asio.hpp>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>

using namespace house;

namespace {

void deliver(const std::string& path, const std::string& text) {
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket socket(io);
    socket.connect(path);
    boost::asio::write(socket, boost::asio::buffer(text));
}

} // namespace

TEST(MeteringService, keepsTheExactBytesOfEachConnection) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "service";
    const MeteringService service(path);
    const std::string large(100000, 'x');

    deliver(path, std::string("a\0b\n", 4));
    deliver(path, large);
    deliver(path, "");

    ASSERT_TRUE(service.waitForMessages(3));
    std::vector<std::string> texts = service.texts();
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (std::vector<std::string>{"", std::string("a\0b\n", 4), large}));
}

TEST(MeteringService, acceptsAndClosesOnDemand) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "service";
    MeteringService service(path);
    service.acceptAndClose(true);
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket socket(io);
    socket.connect(path);

    std::string answer;
    boost::system::error_code ec;
    boost::asio::read(socket, boost::asio::dynamic_buffer(answer), ec);

    EXPECT_EQ(ec, boost::asio::error::eof);
    EXPECT_TRUE(service.waitForConnections(1));
    EXPECT_TRUE(service.messages().empty());
}

TEST(MeteringService, aCallbackMayReplaceItselfWhileItRuns) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "service";
    SelfReplacingCallback callback;
    MeteringService service(path);
    service.whenArrived(callback.with([&service] { service.whenArrived([](const Message&) {}); }));

    deliver(path, "text");

    EXPECT_TRUE(callback.outlivedItsReplacement());
}

TEST(MeteringService, replacesAnOldSocketFileAndRemovesItsOwn) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "service";
    boost::asio::io_context io;
    { const boost::asio::local::stream_protocol::acceptor leftover(io, path); }
    ASSERT_TRUE(std::filesystem::exists(path));

    { const MeteringService service(path); }

    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(MeteringService, refusesThePathOfALiveServiceWithoutAWordToIt) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "service";
    const MeteringService live(path);

    EXPECT_EQ(thrownBy([&] { MeteringService{path}; }), path + ": Address already in use");

    deliver(path, "text");
    EXPECT_TRUE(live.waitForMessages(1));
    EXPECT_EQ(live.texts(), std::vector<std::string>{"text"});
}

TEST(MeteringService, refusesAPathAtWhichAnotherFileStands) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("file", "precious");

    EXPECT_EQ(thrownBy([&] { MeteringService{file}; }), file + " is no socket: File exists");
    EXPECT_EQ(thrownBy([&] { MeteringService{directory.path()}; }),
              directory.path().string() + " is no socket: File exists");
    EXPECT_EQ(contentOf(file), "precious");
}

TEST(MeteringService, leavesASocketThatAnotherPutInItsPlace) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "service";
    auto service = std::make_unique<MeteringService>(path);
    std::filesystem::remove(path);
    const MeteringService other(path);

    service.reset();

    deliver(path, "text");
    EXPECT_TRUE(other.waitForMessages(1));
}

TEST(MeteringService, anErrorNamesThePath) {
    EXPECT_EQ(thrownBy([] { MeteringService{"/nowhere/service"}; }),
              "/nowhere/service: No such file or directory");
}
