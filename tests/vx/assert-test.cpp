#include "vx/assert.h"

#include "standard-error-pieces.h"
#include "support/log-capture.h"
#include "vx/log-context.h"
#include "vx/log.h"

#include <boost/assert.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <unistd.h>
#include <vector>

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

// Outside of an unnamed namespace, so that the dynamic symbol table knows it.
namespace assertTest {

[[gnu::noinline]] void fail(int size) {
    VX_ASSERT(size >= 20, "Too short.", size);
}

} // namespace assertTest

namespace {

#ifdef __clang__
constexpr const char* functionOfFail =
    "auto assertTest::fail(int)::(anonymous class)::operator()() const";
#else
constexpr const char* functionOfFail = "assertTest::fail(int)::<lambda()>";
#endif

/// The pieces from the first to the line end ahead of the traces, each of which a sync follows.
std::vector<std::string> headOf(const std::vector<std::string>& pieces) {
    std::vector<std::string> head;
    for (std::size_t i = 0; i < pieces.size(); i += 2) {
        EXPECT_EQ(pieces.at(i + 1), fsyncPiece) << pieces[i];
        head.push_back(pieces[i]);
        if (pieces[i] == "\n")
            break;
    }
    return head;
}

std::string firstLineOf(const std::vector<std::string>& pieces) {
    const std::string text = joined(pieces);
    return withoutLineNumbers(text.substr(0, text.find('\n')));
}

} // namespace

TEST(Assert, conditionThatHoldsCostsNothing) {
    int evaluated = 0;

    VX_ASSERT(true, ++evaluated);

    EXPECT_EQ(evaluated, 0);
}

TEST(Assert, writesEachPieceAtOnceAndSyncsIt) {
    const auto pieces = piecesOfAbort([] {
        const int outer = 1;
        const int inner = 2;
        VX_LOG_CONTEXT(outer);
        VX_LOG_CONTEXT(inner);
        vx::assertFailed("a == b", "Message.", "void f()", "../far/away/src/vx/some-file.cpp", 40);
    });

    EXPECT_THAT(headOf(pieces),
                ElementsAreArray({"Assertion failed. ", "Message.", " condition:", "a == b", " ",
                                  "../far/away/src/vx/some-file.cpp", ":", "40", " ",
                                  "inner:2 outer:1 ", " ", "void f()", "\n"}));
}

TEST(Assert, emptyMessageAndNoContextLeaveTheirPlacesEmpty) {
    const auto pieces =
        piecesOfAbort([] { vx::assertFailed("a == b", "", "void f()", "file.cpp", -1); });

    EXPECT_EQ(firstLineOf(pieces), "Assertion failed.  condition:a == b file.cpp:-1  void f()");
}

TEST(Assert, tellsMessageConditionPositionAndFunctionOfItsSite) {
    const auto pieces = piecesOfAbort([] { assertTest::fail(3); });

    EXPECT_EQ(firstLineOf(pieces),
              std::string("Assertion failed. Too short. size:3 condition:size >= 20 "
                          "tests/vx/assert-test.cpp:<line>  ") +
                  functionOfFail);
}

TEST(Assert, bothTracesFollowTheFirstLine) {
    const auto pieces = piecesOfAbort([] { assertTest::fail(3); });
    const std::string text = joined(pieces);
    const std::string traces = text.substr(text.find('\n') + 1);
    const auto decoded = traces.find("Decoded stacktrace:\n  ");

    ASSERT_NE(decoded, std::string::npos) << text;
    EXPECT_THAT(traces, MatchesRegex("Stacktrace:[^\n]*vx-tests\\([^\n]*\\+0x[^\n]*\\)[^\n]*\n.*"));
    EXPECT_THAT(traces.substr(0, decoded), HasSubstr("vx-tests(_ZN10assertTest4failEi+0x"));
    EXPECT_THAT(traces.substr(decoded), HasSubstr("vx-tests : assertTest::fail(int) +0x"));
    EXPECT_EQ(std::count(traces.begin(), traces.begin() + static_cast<long>(decoded), '\n') + 1,
              std::count(traces.begin() + static_cast<long>(decoded), traces.end(), '\n'));
}

TEST(Assert, tracesBeginAtTheCodeThatAsserted) {
    const std::string text = joined(piecesOfAbort([] { assertTest::fail(3); }));
    const std::string decoded = text.substr(text.find("Decoded stacktrace:"));

    EXPECT_EQ(decoded.find("vx::StackTrace::capture"), std::string::npos) << decoded;
    EXPECT_THAT(decoded.substr(0, decoded.find("assertTest::fail(int) +")),
                testing::Not(HasSubstr("piecesOfAbort")));
}

TEST(Assert, eachTraceIsSynced) {
    const auto pieces = piecesOfAbort([] { assertTest::fail(3); });
    const auto decoded = std::find(pieces.begin(), pieces.end(), "Decoded stacktrace:");

    ASSERT_NE(decoded, pieces.end());
    EXPECT_EQ(*(decoded - 1), fsyncPiece);
    EXPECT_EQ(*(decoded + 1), fsyncPiece);
    EXPECT_EQ(pieces.back(), fsyncPiece);
}

TEST(Assert, writeErrorsDoNotKeepItFromAborting) {
    const auto pieces = piecesOfAbort([] {
        close(STDERR_FILENO);
        assertTest::fail(3);
    });

    EXPECT_TRUE(pieces.empty());
}

TEST(Assert, neitherAsksNorWaitsForTheLogger) {
    const auto pieces = piecesOfAbort([] {
        vx::Logger::instance().setLogFunction(
            [](const char*, vx::LogSeverity, const std::string&) { assertTest::fail(3); });
        vx::Logger::instance().log("assertTest", vx::LogSeverity::notice, "x");
    });

    EXPECT_THAT(firstLineOf(pieces), StartsWith("Assertion failed. Too short. size:3 "));
}

TEST(BoostAssert, endsInOurAssertion) {
    const auto pieces = piecesOfAbort([] { BOOST_ASSERT(1 == 2); });

    EXPECT_THAT(
        firstLineOf(pieces),
        MatchesRegex("Assertion failed.  condition:1 == 2 "
                     "tests/vx/assert-test.cpp:<line>  .*BoostAssert_endsInOurAssertion.*"));
}

TEST(BoostAssert, carriesItsMessage) {
    const auto pieces = piecesOfAbort([] { BOOST_ASSERT_MSG(1 == 2, "Different."); });

    EXPECT_THAT(firstLineOf(pieces), StartsWith("Assertion failed. Different. condition:1 == 2 "
                                                "tests/vx/assert-test.cpp:<line>  "));
}

TEST(BoostAssert, hooksPassAllTheyAreGiven) {
    EXPECT_EQ(firstLineOf(piecesOfAbort(
                  [] { boost::assertion_failed("a", "function", "dir/src/file.hpp", 7); })),
              "Assertion failed.  condition:a dir/src/file.hpp:7  function");
    EXPECT_EQ(firstLineOf(piecesOfAbort([] {
                  boost::assertion_failed_msg("a", "b", "function", "dir/src/file.hpp", 7);
              })),
              "Assertion failed. b condition:a dir/src/file.hpp:7  function");
}
