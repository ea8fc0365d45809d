#include "e2e/process-world.h"
#include "support/lines.h"
#include "support/test-assert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>

using testing::AllOf;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::SizeIs;

namespace {

class Crash : public ProcessWorld {
protected:
    /// Starts the reader with the library that misbehaves at the end of a poll, and waits until
    /// that has aborted it.
    void abortBy(const std::string& how) {
        start({"LD_PRELOAD=" MISBEHAVING_LIBRARY, "MISBEHAVE=" + how, "VX_TEST_ASSERT=1",
               "ASAN_OPTIONS=verify_asan_link_order=0:handle_abort=0"});
        const int status = reader->waitForExit();
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), SIGABRT);
    }
};

} // namespace

TEST_F(Crash, aFailedAssertionWritesItsTextAndBothTracesAndAborts) {
    abortBy("assert");

    const auto lines = linesBetween(reader->rawLog(), "Assertion failed.", "\n");
    ASSERT_GT(lines.size(), 4);
    EXPECT_THAT(lines[0], AllOf(MatchesRegex("Assertion failed\\. Test assert\\. condition:false "
                                             "src/vx/log-rule\\.cpp:[0-9]+  [^ ].*"),
                                EndsWith(std::string("  ") + functionOfTestAssert)));
    EXPECT_THAT(lines[1], MatchesRegex("Stacktrace:.*modbus-reader\\(.*\\[0x[0-9a-f]+\\]"));
    EXPECT_THAT(linesWith(lines, "Decoded stacktrace:"), SizeIs(1));
    EXPECT_THAT(linesWith(lines, " : vx::testAssert() +0x"), SizeIs(1));
    EXPECT_THAT(linesWith(lines, " : orv::modbusreader::runReader() +0x"), SizeIs(1));
}

TEST_F(Crash, anExceptionThatNoHandlerTakesEndsTheProcessThroughTerminate) {
    abortBy("throw");

    EXPECT_THAT(log("terminate called after throwing"), SizeIs(1));
    EXPECT_THAT(log("retry timer"), SizeIs(0));
}

TEST_F(Crash, anExceptionOutOfATicksPollEndsTheProcessThroughTerminateToo) {
    abortBy("throw in a later poll");

    EXPECT_THAT(log("terminate called after throwing"), SizeIs(1));
    EXPECT_THAT(log("retry timer"), SizeIs(1));
}
