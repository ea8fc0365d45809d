#include "e2e/reader-process.h"
#include "support/test-assert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

/// Starts the reader with the library that misbehaves at the end of a poll.
std::vector<std::string> misbehaving(const std::string& how) {
    return {"LD_PRELOAD=" MISBEHAVING_LIBRARY, "MISBEHAVE=" + how, "VX_TEST_ASSERT=1",
            "ASAN_OPTIONS=verify_asan_link_order=0:handle_abort=0"};
}

std::vector<std::string> linesFrom(const std::vector<std::string>& lines, std::string_view first) {
    return linesBetween(lines, first, "\n");
}

} // namespace

TEST(Crash, aFailedAssertionWritesItsTextAndBothTracesAndAborts) {
    ReaderProcess reader(misbehaving("assert"));

    const int status = reader.waitForExit();

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    const auto lines = linesFrom(reader.rawLog(), "Assertion failed.");
    ASSERT_GT(lines.size(), 4);
    EXPECT_THAT(lines[0], AllOf(MatchesRegex("Assertion failed\\. Test assert\\. condition:false "
                                             "src/vx/log-rule\\.cpp:[0-9]+  [^ ].*"),
                                EndsWith(std::string("  ") + functionOfTestAssert)));
    EXPECT_THAT(lines[1], MatchesRegex("Stacktrace:.*modbus-reader\\(.*\\[0x[0-9a-f]+\\]"));
    EXPECT_THAT(linesWith(lines, "Decoded stacktrace:").size(), 1);
    EXPECT_THAT(linesWith(lines, " : vx::testAssert() +0x").size(), 1);
    EXPECT_THAT(linesWith(lines, " : orv::modbusreader::runReader() +0x").size(), 1);
}

TEST(Crash, anExceptionThatNoHandlerTakesEndsTheProcessThroughTerminate) {
    ReaderProcess reader(misbehaving("throw"));

    const int status = reader.waitForExit();

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    EXPECT_EQ(linesWith(reader.rawLog(), "terminate called after throwing").size(), 1);
    EXPECT_EQ(linesWith(reader.rawLog(), "retry timer").size(), 0);
}

TEST(Crash, anExceptionOutOfATicksPollEndsTheProcessThroughTerminateToo) {
    ReaderProcess reader(misbehaving("throw in a later poll"));

    const int status = reader.waitForExit();

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    EXPECT_EQ(linesWith(reader.rawLog(), "terminate called after throwing").size(), 1);
    EXPECT_EQ(linesWith(reader.rawLog(), "retry timer").size(), 1);
}
