// What the real executable makes of a system that is not well: no room or no reader for its log, a
// clock that leaps.

#include "e2e/counting-home.h"

#include "house/descriptor.h"
#include "house/patience.h"
#include "vx/date-time.h"
#include "vx/str.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <regex>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using house::Fault;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

using HostileSystem = CountingHome;

} // namespace

// The log

namespace {

/// A small file system of its own, for as long as the object lives.
class SmallFileSystem {
public:
    explicit SmallFileSystem(const std::string& size) {
        std::filesystem::create_directory(path);
        EXPECT_EQ(mount("tmpfs", path, "tmpfs", 0, ("size=" + size).c_str()), 0);
    }
    ~SmallFileSystem() {
        umount2(path, MNT_DETACH);
        std::filesystem::remove(path);
    }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    static void grow(const std::string& size) {
        EXPECT_EQ(mount("tmpfs", path, "tmpfs", MS_REMOUNT, ("size=" + size).c_str()), 0);
    }

    static constexpr const char* path = "/run/small";
};

/// A pipe with a name.
class NamedPipe {
public:
    NamedPipe() {
        EXPECT_EQ(mkfifo(path, 0600), 0);
        m_end = house::Descriptor(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }
    ~NamedPipe() { std::filesystem::remove(path); }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;

    /// Waits for more and gives it; what comes together is given together.
    std::string read() {
        pollfd wait{m_end.number(), POLLIN, 0};
        EXPECT_EQ(::poll(&wait, 1, static_cast<int>(house::Patience::limit().count())), 1);
        std::string text(65536, '\0');
        const ssize_t size = ::read(m_end.number(), text.data(), text.size());
        EXPECT_GT(size, 0) << "Nobody writes any more";
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return text;
    }

    /// Reads until @p text has come, and gives all that has.
    std::string readUntil(const std::string& text) {
        std::string all;
        while (all.find(text) == std::string::npos && !testing::Test::HasFailure())
            all += read();
        return all;
    }

    /// Waits until the pipe is full and that process waits in a write to its standard error.
    void waitUntilItHolds(pid_t pid) const {
        const std::string call = vx::str("/proc/", pid, "/syscall");
        static const std::regex onStandardError("\\d+ 0x2 [^]*");
        const auto end = std::chrono::steady_clock::now() + house::Patience::limit();
        while (!isFull() || !std::regex_match(contentOf(call), onStandardError)) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "It still writes";
            ::poll(nullptr, 0, 1);
        }
    }

    void close() { m_end = house::Descriptor(); }

    static constexpr const char* path = "/run/pipe";

private:
    static bool isFull() {
        const house::Descriptor end(open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        pollfd wait{end.number(), POLLOUT, 0};
        return ::poll(&wait, 1, 0) == 0;
    }

    house::Descriptor m_end;
};

} // namespace

TEST_F(HostileSystem, aFullFileSystemCutsTheLogUntilThereIsRoom) {
    constexpr std::size_t size = 8192;
    const SmallFileSystem small(std::to_string(size));
    const std::string file = std::string(SmallFileSystem::path) + "/log";
    start(shell(R"(exec "$0" 2>)" + file));
    EXPECT_TRUE(waitForMessage(messageOf(12)));

    EXPECT_EQ(contentOf(file).size(), size);
    SmallFileSystem::grow("10m");
    const int next = poll() + 2;
    EXPECT_TRUE(waitForMessage(messageOf(next)));
    end();

    const std::string log = contentOf(file);
    EXPECT_THAT(log, HasSubstr("\"powerConsumed\":2.0"));
    EXPECT_THAT(log, Not(HasSubstr("\"powerConsumed\":11.0")));
    EXPECT_THAT(log, HasSubstr("\"powerConsumed\":" + std::to_string(next) + ".0"));
}

TEST_F(HostileSystem, whatTakesNoByteOfTheLogCostsNothingElse) {
    for (const std::string standardError : {"2>/dev/full", "2>&-"}) {
        start(shell(R"(exec "$0" )" + standardError));

        EXPECT_TRUE(waitForMessage(messageOf(5))) << standardError;

        end();
    }
}

TEST_F(HostileSystem, aLimitOfTheSizeOfFilesEndsTheReaderBySigxfszUnlessThatIsIgnored) {
    start(shell(R"(ulimit -f 16; exec "$0")"));
    const int status = reader->waitForExit();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGXFSZ);
    EXPECT_THAT(log("terminate"), SizeIs(0));
    end();

    start(shell(R"(trap "" XFSZ; ulimit -f 16; exec "$0")"));
    EXPECT_TRUE(waitForMessage(messageOf(12)));
    EXPECT_THAT(log("powerConsumed\":12"), SizeIs(0));
}

TEST_F(HostileSystem, aPipeThatNobodyReadsAnyMoreEndsTheReaderBySigpipe) {
    NamedPipe pipe;
    start(shell(std::string(R"(exec "$0" 2>)") + NamedPipe::path));
    pipe.readUntil("\"powerConsumed\":1.0");

    pipe.close();
    const int status = reader->waitForExit();

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGPIPE);
}

// As a service is started.
TEST_F(HostileSystem, aPipeThatNobodyReadsAnyMoreCostsTheLogAloneWhereSigpipeIsIgnored) {
    NamedPipe pipe;
    start(shell(std::string(R"(trap "" PIPE; exec "$0" 2>)") + NamedPipe::path));
    pipe.readUntil("\"powerConsumed\":1.0");

    pipe.close();

    EXPECT_TRUE(waitForMessage(messageOf(poll() + 3)));
}

TEST_F(HostileSystem, aFullPipeHoldsTheReaderUntilSomebodyReadsAndLosesNoLine) {
    NamedPipe pipe;
    start(shell(std::string(R"(exec "$0" 2>)") + NamedPipe::path));
    pipe.waitUntilItHolds(reader->pid());
    const int last = poll();

    const std::string text = pipe.readUntil("\"powerConsumed\":" + std::to_string(last + 2) + ".0");

    EXPECT_THAT(text, HasSubstr("Starting modbus Reader"));
    for (int poll = 1; poll <= last + 1; ++poll)
        EXPECT_THAT(text, HasSubstr("\"powerConsumed\":" + std::to_string(poll) + ".0"));
    EXPECT_TRUE(waitForMessage(messageOf(last + 1)));
}

// The clock

namespace {

/// Days by the clock of the reader from the first of @p texts to each. @p head is what stands ahead
/// of the moment of one; what has none is left out.
std::vector<long> daysOf(const std::vector<std::string>& texts, const std::string& head) {
    const std::regex moment(head + R"((\d.{22}))");
    std::vector<vx::DateTime> times;
    std::smatch match;
    for (const std::string& text : texts)
        if (std::regex_search(text, match, moment))
            times.push_back(vx::toDateTime(match.str(1) + "Z"));
    std::vector<long> days;
    for (const vx::DateTime time : times) {
        const std::chrono::duration<double> passed = time - times.front();
        days.push_back(std::lround(passed.count() / 86400));
    }
    return days;
}

} // namespace

TEST_F(HostileSystem, aClockThatLeapsAYearEitherWayChangesTheMomentsAlone) {
    atEachPoll([this](int poll) {
        // What is carried from the year before.
        if (poll == 3)
            bus->unit(7).failNext(20, Fault::exception(2));
    });
    start({}, LEAPING_CLOCK_LIBRARY ":", {"LEAPING_CLOCK=0 365 -730"});
    EXPECT_TRUE(waitForMessage(messageOf(5)));
    EXPECT_THAT(complaints(),
                ElementsAre("warning modbusSerial Could not read register "
                            "strerror((*__errno_location ())):Unknown error 112345680 "
                            "aRegister:{\"address\":20,\"fieldType\":energyImport,"
                            "\"modbusDataType\":uint32,\"length\":1,\"scaleValue\":0.5,"
                            "\"registerType\":holding} toolkit.cpp:<line>"));
    std::vector<std::string> moments = service->texts();
    const std::vector<std::string> values = messagesSoFar();
    std::vector<long> daysOfLines = daysOf(reader->rawLog(), R"(^\[)");
    end();

    ASSERT_GE(values.size(), 5);
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(values[i], messageOf(static_cast<int>(i) + 1));
    moments.resize(5);
    EXPECT_THAT(daysOf(moments, R"("lastChanged":")"), ElementsAre(0, 0, 365, -365, -365));
    daysOfLines.erase(std::unique(daysOfLines.begin(), daysOfLines.end()), daysOfLines.end());
    EXPECT_THAT(daysOfLines, ElementsAre(0, 365, -365));
}
