#include "real-time.h"
#include "standard-error-pieces.h"
#include "support/time-zone.h"
#include "vx/date-time.h"
#include "vx/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::MatchesRegex;
using vx::Logger;
using vx::LogSeverity;

namespace {

/// The thread id of the calling thread, right-aligned in five columns.
std::string threadIdColumn() {
    std::ostringstream stream;
    stream << std::setw(5) << syscall(SYS_gettid);
    return stream.str();
}

/// The line without its time, which is "[", 29 characters and "] ".
std::string behindTheTime(const std::string& line) {
    return line.substr(32);
}

std::string lineOf(const char* channelName, LogSeverity severity, const std::string& message) {
    StandardErrorPieces pieces;
    Logger::defaultLogFunction(channelName, severity, message);
    return joined(pieces.take());
}

} // namespace

TEST(LogLine, isOneWriteAndOneFsync) {
    StandardErrorPieces pieces;

    Logger::instance().log("modbusreaderMain", LogSeverity::notice, "Started main:88");

    EXPECT_THAT(
        pieces.take(),
        ElementsAre(
            MatchesRegex("\\[[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"
                         "[-+][0-9]{2}:[0-9]{2}\\] " +
                         threadIdColumn() + " NOTIC modbusreaderMain Started main:88\n"),
            fsyncPiece));
}

TEST(LogLine, carriesTheLocalTimeOfTheCall) {
    const TimeZone zone("<+0545>-5:45");
    const auto now = [] { return vx::toLocalMsIsoString(std::chrono::system_clock::now()); };

    const std::string before = now();
    const std::string stamp = lineOf("logLine", LogSeverity::notice, "x").substr(1, 29);
    const std::string after = now();

    EXPECT_LE(before, stamp);
    EXPECT_LE(stamp, after);
    EXPECT_EQ(stamp.substr(23), "+05:45");
}

TEST(LogLine, carriesATimeBeyondTheYear2038) {
    const TimeZone zone("UTC0");
    const auto clock = realTimeAt(0x100000000);

    EXPECT_EQ(lineOf("logLine", LogSeverity::notice, "x").substr(0, 31),
              "[2106-02-07T06:28:16.000+00:00]");
}

TEST(LogLine, everySeverityHasItsFiveColumns) {
    const std::pair<int, const char*> texts[] = {
        {0, "!!!!!"}, {1, "FATAL"}, {2, "ERROR"}, {3, "WARN "},  {4, "NOTIC"},
        {5, "INFO "}, {6, "DEBUG"}, {7, "?????"}, {-1, "?????"}, {1000, "?????"},
    };
    for (const auto& [severity, text] : texts)
        EXPECT_EQ(behindTheTime(lineOf("logLine", static_cast<LogSeverity>(severity), "message")),
                  threadIdColumn() + " " + text + " logLine message\n")
            << severity;
}

TEST(LogLine, nullChannelNameIsWrittenAsNull) {
    EXPECT_EQ(behindTheTime(lineOf(nullptr, LogSeverity::error, "message")),
              threadIdColumn() + " ERROR null message\n");
}

TEST(LogLine, messageIsWrittenAsItStands) {
    EXPECT_EQ(behindTheTime(lineOf("", LogSeverity::info, " two\nlines ")),
              threadIdColumn() + " INFO    two\nlines \n");
}

TEST(LogLine, threadIdIsThatOfTheCallingThread) {
    std::string line;
    std::string expected;

    std::thread([&] {
        expected = threadIdColumn() + " DEBUG logLine x\n";
        line = behindTheTime(lineOf("logLine", LogSeverity::debug, "x"));
    }).join();

    EXPECT_EQ(line, expected);
    EXPECT_NE(expected.substr(0, 5), threadIdColumn());
}

TEST(LogLine, threadIdOfMoreThanFiveDigitsWidensItsColumnUpToSeven) {
    const std::pair<long, const char*> columns[] = {
        {123456, "123456"}, {1234567, "1234567"}, {12345678, "1234567"}};
    for (const auto& [number, column] : columns) {
        const auto thread = c_calls::gettid.replaceBy([id = number] { return id; });
        EXPECT_EQ(behindTheTime(lineOf("logLine", LogSeverity::notice, "x")),
                  vx::str(column, " NOTIC logLine x\n"));
    }
}

TEST(LogLine, threadIdIsRightAlignedInAColumnOfFive) {
    const std::pair<long, const char*> columns[] = {{1, "    1"}, {412, "  412"}, {12345, "12345"}};
    for (const auto& [number, column] : columns) {
        const auto thread = c_calls::gettid.replaceBy([id = number] { return id; });
        EXPECT_EQ(behindTheTime(lineOf("logLine", LogSeverity::notice, "x")),
                  vx::str(column, " NOTIC logLine x\n"));
    }
}

TEST(LogLine, shortWritesAreContinued) {
    StandardErrorPieces pieces;
    const auto writing = c_calls::write.replaceBy([](int fd, const void* data, std::size_t size) {
        return c_calls::write.real(fd, data, std::min<std::size_t>(size, 40));
    });

    Logger::defaultLogFunction("logLine", LogSeverity::notice, "message");

    const auto taken = pieces.take();
    ASSERT_EQ(taken.size(), 3U);
    EXPECT_EQ(behindTheTime(joined(taken)), threadIdColumn() + " NOTIC logLine message\n");
    EXPECT_EQ(taken.at(2), fsyncPiece);
}

TEST(LogLine, failedWriteEndsTheLineInSilenceAndStillSyncs) {
    StandardErrorPieces pieces;
    int writes = 0;
    const auto writing = c_calls::write.replaceBy([&](int fd, const void* data, std::size_t) {
        return ++writes == 1 ? c_calls::write.real(fd, data, 33) : -1;
    });

    Logger::defaultLogFunction("logLine", LogSeverity::notice, "message");

    EXPECT_EQ(writes, 2);
    EXPECT_THAT(pieces.take(), ElementsAre(testing::SizeIs(33), fsyncPiece));
}

TEST(LogLine, closedDescriptorIsIgnored) {
    const int saved = dup(STDERR_FILENO);
    close(STDERR_FILENO);

    EXPECT_NO_THROW(Logger::defaultLogFunction("logLine", LogSeverity::notice, "lost"));

    dup2(saved, STDERR_FILENO);
    close(saved);
}

TEST(LogLine, linesOfManyThreadsStayWhole) {
    std::vector<std::string> taken;
    {
        StandardErrorPieces pieces;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([] {
                for (int n = 0; n < 10; ++n)
                    Logger::instance().log("logLine", LogSeverity::notice, "message");
            });
        for (std::thread& thread : threads)
            thread.join();
        taken = pieces.take();
    }

    ASSERT_EQ(taken.size(), 80U);
    for (std::size_t i = 0; i < taken.size(); i += 2) {
        EXPECT_THAT(taken[i], testing::EndsWith(" NOTIC logLine message\n"));
        EXPECT_EQ(taken[i + 1], fsyncPiece);
    }
}
