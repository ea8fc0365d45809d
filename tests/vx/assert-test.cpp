#include "vx/assert.h"

#include "sanitizer-frames.h"
#include "standard-error-pieces.h"
#include "support/lines.h"
#include "vx/enum.h"
#include "vx/exception.h"
#include "vx/log-context.h"
#include "vx/log.h"
#include "vx/stack-trace.h"

#include <boost/assert.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

using testing::Contains;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

// Outside of an unnamed namespace, so that the dynamic symbol table knows them.
namespace assertTest {

[[gnu::noinline]] void fail(int size) {
    VX_ASSERT(size >= 20, "Too short.", size);
}

volatile int behindTheCall = 0;

// The compiler must not know that the call never returns: it would put the call at the very end of
// the function, and the address behind it would be that of another function.
[[gnu::noinline]] void failDirectly() {
    void (*volatile failure)(const char*, const char*, const char*, const char*, long) =
        vx::assertFailed;
    failure("condition", "", "function", "file", 1);
    behindTheCall = 1;
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

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
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

TEST(Assert, nulInALogContextDoesNotCutItShort) {
    const auto pieces = piecesOfAbort([] {
        const std::string value("a\0b", 3);
        VX_LOG_CONTEXT(value);
        vx::assertFailed("a == b", "", "void f()", "file.cpp", 40);
    });

    EXPECT_THAT(pieces, Contains(std::string("value:a\0b ", 10)));
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

TEST(Assert, itemsAreEvaluatedFromLeftToRight) {
    const auto pieces = piecesOfAbort([] {
        int number = 0;
        const auto next = [&] { return ++number; };
        VX_ASSERT(false, next(), next(), next());
    });

    EXPECT_THAT(firstLineOf(pieces),
                StartsWith("Assertion failed. next():1 next():2 next():3 condition:false "));
}

TEST(Assert, bothTracesFollowTheFirstLine) {
    const std::string text = joined(piecesOfAbort([] { assertTest::failDirectly(); }));
    const auto plain = text.find('\n') + 1;
    const auto decoded = text.find("Decoded stacktrace:\n  ");

    ASSERT_NE(decoded, std::string::npos) << text;
    const auto plainLines = linesOf(text.substr(plain, decoded - plain));
    const auto decodedLines = linesOf(text.substr(decoded));
    EXPECT_THAT(plainLines.at(0), MatchesRegex("Stacktrace:[^ ]+\\[0x[0-9a-f]+\\]"));
    EXPECT_THAT(plainLines.at(sanitizerFrames),
                HasSubstr("vx-tests(_ZN10assertTest12failDirectlyEv+0x"));
    EXPECT_EQ(decodedLines.at(0), "Decoded stacktrace:");
    EXPECT_THAT(decodedLines.at(1 + sanitizerFrames),
                HasSubstr("vx-tests : assertTest::failDirectly() +0x"));
    EXPECT_EQ(decodedLines.size(), 1 + plainLines.size());
}

TEST(Assert, eachTraceIsSynced) {
    const auto pieces = piecesOfAbort([] { assertTest::fail(3); });
    const auto plain = std::find(pieces.begin(), pieces.end(), "Stacktrace:");
    const auto decoded = std::find(plain, pieces.end(), "Decoded stacktrace:");

    ASSERT_NE(decoded, pieces.end());
    EXPECT_EQ(*(plain + 1), fsyncPiece);
    EXPECT_EQ(*(decoded - 1), fsyncPiece);
    EXPECT_EQ(*(decoded + 1), fsyncPiece);
    EXPECT_EQ(pieces.back(), fsyncPiece);
}

TEST(Assert, aContextThatThrowsLeavesOutItsPieceAlone) {
    const auto pieces = piecesOfAbort([] {
        const vx::detail::LogContextImpl context(
            [](std::ostream&) { throw std::runtime_error("no text"); });
        try {
            assertTest::fail(5);
        } catch (...) {
            // The process would live on after a failed assertion.
            _exit(0);
        }
    });

    const auto lines = linesOf(joined(pieces));
    EXPECT_THAT(lines.at(0),
                MatchesRegex("Assertion failed\\. Too short\\. size:5 condition:size >= "
                             "20 tests/vx/assert-test\\.cpp:[0-9]+  .*"));
    EXPECT_THAT(lines.at(0), testing::EndsWith(functionOfFail));
    EXPECT_THAT(lines, Contains(StartsWith("Decoded stacktrace:")));
}

TEST(Assert, aContextThatFailsAnAssertionItselfIsLeftOutOfThatOneAndTheRestIsTried) {
    const auto pieces = piecesOfAbort([] {
        const vx::detail::LogContextImpl context([](std::ostream&) { assertTest::fail(5); });
        assertTest::fail(3);
    });

    EXPECT_EQ(firstLineOf(pieces),
              std::string("Assertion failed. Too short. size:3 condition:size >= 20 "
                          "tests/vx/assert-test.cpp:<line> "
                          "Assertion failed. Too short. size:5 condition:size >= 20 "
                          "tests/vx/assert-test.cpp:<line>  ") +
                  functionOfFail);
    EXPECT_THAT(joined(pieces), HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(Assert, aContextThatLogsOrThrowsWithTheContextItselfIsNotAskedAgain) {
    const auto pieces = piecesOfAbort([] {
        vx::LogChannel channel("assertTest", vx::LogSeverity::notice);
        vx::Logger::instance().setLogFunction(
            [](const char*, vx::LogSeverity, const std::string&) {});
        int asked = 0;
        const vx::detail::LogContextImpl context([&](std::ostream& stream) {
            stream << "asked:" << ++asked << ' ';
            VX_LOG(channel, notice, "In the context");
            VX_THROW("Out of the context");
        });
        assertTest::fail(3);
    });

    EXPECT_EQ(firstLineOf(pieces),
              std::string("Assertion failed. Too short. size:3 condition:size >= 20 "
                          "tests/vx/assert-test.cpp:<line>  ") +
                  functionOfFail);
    EXPECT_THAT(joined(pieces), HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(Assert, writeErrorsDoNotKeepItFromAborting) {
    const auto pieces = piecesOfAbort([] {
        close(STDERR_FILENO);
        assertTest::fail(3);
    });

    EXPECT_TRUE(pieces.empty());
}

TEST(Assert, aPipeWhoseReaderIsGoneDoesNotKeepItFromAborting) {
    const auto pieces = piecesOfAbort([] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        close(ends[0]);
        dup2(ends[1], STDERR_FILENO);
        assertTest::fail(3);
    });

    EXPECT_TRUE(pieces.empty());
}

TEST(Assert, anItemThatThrowsLeavesTheMessageEmpty) {
    const auto pieces = piecesOfAbort([] {
        const auto thrower = []() -> int { throw std::runtime_error("no item"); };
        try {
            VX_ASSERT(1 == 2, thrower());
        } catch (...) {
            // The process would live on after a failed assertion.
            _exit(0);
        }
    });

    EXPECT_THAT(firstLineOf(pieces), StartsWith("Assertion failed.  condition:1 == 2 "
                                                "tests/vx/assert-test.cpp:<line>  "));
    EXPECT_THAT(joined(pieces), HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(Assert, failedPieceDoesNotKeepTheOthersFromBeingTried) {
    const auto pieces = piecesOfAbort([] {
        const auto writing =
            c_calls::write.replaceBy([](int fd, const void* data, std::size_t size) {
                const std::string_view piece(static_cast<const char*>(data), size);
                return piece == " condition:" ? -1 : c_calls::write.real(fd, data, size);
            });
        vx::assertFailed("a == b", "Message.", "void f()", "file.cpp", 40);
    });

    EXPECT_EQ(firstLineOf(pieces), "Assertion failed. Message.a == b file.cpp:<line>  void f()");
    EXPECT_THAT(joined(pieces), HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(Assert, shortWritesAreContinued) {
    const auto pieces = piecesOfAbort([] {
        const auto writing = c_calls::write.replaceBy(
            [](int fd, const void* data, std::size_t) { return c_calls::write.real(fd, data, 1); });
        vx::assertFailed("a == b", "Message.", "void f()", "file.cpp", 40);
    });

    EXPECT_EQ(firstLineOf(pieces),
              "Assertion failed. Message. condition:a == b file.cpp:<line>  void f()");
    EXPECT_THAT(joined(pieces), HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(Assert, neitherAsksNorWaitsForTheLogger) {
    const auto pieces = piecesOfAbort([] {
        vx::Logger::instance().setLogFunction(
            [](const char*, vx::LogSeverity, const std::string&) { assertTest::fail(3); });
        vx::Logger::instance().log("assertTest", vx::LogSeverity::notice, "x");
    });

    EXPECT_THAT(firstLineOf(pieces), StartsWith("Assertion failed. Too short. size:3 "));
}

TEST(Assert, anUnknownValueInTheContextIsNotReported) {
    const auto pieces = piecesOfAbort([] {
        vx::enumLogChannel();
        vx::Logger& logger = vx::Logger::instance();
        logger.setChannelSeverity("vxEnum", vx::LogSeverity::debug);
        logger.setLogFunction([](const char*, vx::LogSeverity, const std::string&) {
            const auto severity = static_cast<vx::LogSeverity>(99);
            VX_LOG_CONTEXT(severity);
            assertTest::fail(3);
        });
        logger.log("assertTest", vx::LogSeverity::notice, "x");
    });

    EXPECT_EQ(firstLineOf(pieces),
              std::string("Assertion failed. Too short. size:3 condition:size >= 20 "
                          "tests/vx/assert-test.cpp:<line> severity:  ") +
                  functionOfFail);
    EXPECT_THAT(joined(pieces), HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(Assert, anUnknownValueInTheContextMakesNoLogLine) {
    const auto pieces = piecesOfAbort([] {
        vx::Logger& logger = vx::Logger::instance();
        vx::enumLogChannel();
        logger.setChannelSeverity("vxEnum", vx::LogSeverity::debug);
        logger.setLogFunction([](const char*, vx::LogSeverity, const std::string&) {
            vx::detail::writeToFd(STDERR_FILENO, "reported", 8);
        });
        const auto severity = static_cast<vx::LogSeverity>(99);
        VX_LOG_CONTEXT(severity);
        assertTest::fail(3);
    });

    EXPECT_THAT(joined(pieces), HasSubstr(" severity:  "));
    EXPECT_THAT(joined(pieces), Not(HasSubstr("reported")));
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
