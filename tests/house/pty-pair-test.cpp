#include "bus-master.h"
#include "house/descriptor.h"
#include "house/pty-pair.h"
#include "support/temporary-directory.h"
#include "support/thrown-by.h"

#include <utility>

#include <boost/asio.hpp>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <termios.h>

using namespace house;

TEST(PtyPair, everyBytePassesAsItIs) {
    const PtyPair line;
    boost::asio::io_context io;
    boost::asio::posix::stream_descriptor master(io, ::open(line.masterEnd().c_str(), O_RDWR));
    boost::asio::posix::stream_descriptor slave(io, ::open(line.slaveEnd().c_str(), O_RDWR));
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);

    boost::asio::write(master, boost::asio::buffer(bytes));
    std::string there(bytes.size(), ' ');
    boost::asio::read(slave, boost::asio::buffer(there));
    boost::asio::write(slave, boost::asio::buffer(there));
    std::string back(bytes.size(), ' ');
    boost::asio::read(master, boost::asio::buffer(back));

    EXPECT_EQ(there, bytes);
    EXPECT_EQ(back, bytes);
}

TEST(PtyPair, isReadyForTheSameSettingsAgainWhenItsEndIsReset) {
    const PtyPair line;
    const Descriptor end(::open(line.masterEnd().c_str(), O_RDWR | O_NOCTTY));
    termios settings{};
    ASSERT_EQ(::tcgetattr(end.number(), &settings), 0);
    settings.c_cflag |= PARENB;
    ::cfsetspeed(&settings, B19200);
    ASSERT_EQ(::tcsetattr(end.number(), TCSANOW, &settings), 0);
    ASSERT_EQ(::tcsetattr(end.number(), TCSANOW, &settings), -1);

    line.resetMasterEnd();

    EXPECT_EQ(::tcsetattr(end.number(), TCSANOW, &settings), 0);
}

TEST(PtyPair, linksTheMastersEnd) {
    const TemporaryDirectory directory;
    const PtyPair line;
    ModbusSlave slave(Tty{line.slaveEnd()});
    slave.unit(7).input(1, {5});
    const std::string link = directory.path() / "tty";

    line.linkMasterEnd(link);
    line.linkMasterEnd(link);

    EXPECT_EQ(Master(link).readInput(7, 1, 1), Words{5});
}

TEST(PtyPair, replacesAnyOlderLinkAndRemovesItsOwn) {
    const TemporaryDirectory directory;
    const std::string link = directory.path() / "tty";
    const std::string target = directory.write("target", "precious");
    std::filesystem::create_symlink(target, link);
    {
        PtyPair line;
        line.linkMasterEnd(link);
        EXPECT_EQ(std::filesystem::read_symlink(link), line.masterEnd());
    }

    EXPECT_FALSE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contentOf(target), "precious");
}

TEST(PtyPair, leavesALinkThatAnotherPutInItsPlace) {
    const TemporaryDirectory directory;
    const std::string link = directory.path() / "tty";
    {
        PtyPair line;
        line.linkMasterEnd(link);
        std::filesystem::remove(link);
        std::filesystem::create_symlink(line.masterEnd(), link);
    }

    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST(PtyPair, refusesAPathAtWhichAnotherFileStands) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("file", "precious");
    const PtyPair line;

    EXPECT_EQ(thrownBy([&] { line.linkMasterEnd(file); }),
              file + " is no symbolic link: File exists");
    EXPECT_EQ(thrownBy([&] { line.linkMasterEnd(directory.path()); }),
              directory.path().string() + " is no symbolic link: File exists");
    EXPECT_EQ(contentOf(file), "precious");
}

TEST(PtyPair, anErrorNamesThePathOfTheLink) {
    const PtyPair line;

    EXPECT_EQ(thrownBy([&] { line.linkMasterEnd("/nowhere/tty"); }),
              "/nowhere/tty: No such file or directory");
}
