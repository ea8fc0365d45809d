#include "vx/stack-trace.h"

#include "sanitizer-frames.h"
#include "standard-error-pieces.h"

#include "support/c-calls.h"
#include "support/heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <dlfcn.h>
#include <execinfo.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>

using testing::HasSubstr;
using testing::StartsWith;
using vx::StackTrace;
using vx::detail::splitSymbol;
using vx::detail::SymbolParts;

// Outside of an unnamed namespace, so that the dynamic symbol table knows them. Each does something
// behind its call, which therefore is no jump that leaves out a frame.
namespace stackTraceTest {

volatile int behindTheCall = 0;

[[gnu::noinline]] StackTrace innermost(int skip) {
    StackTrace trace = StackTrace::capture(skip);
    behindTheCall = 1;
    return trace;
}

[[gnu::noinline]] StackTrace callerOfInnermost(int skip) {
    StackTrace trace = innermost(skip);
    behindTheCall = 2;
    return trace;
}

[[gnu::noinline]] StackTrace deep(int depth) {
    StackTrace trace = depth == 0 ? StackTrace::capture(0) : deep(depth - 1);
    behindTheCall = depth;
    return trace;
}

template <class A, class B>
struct Pair {};

using Twofold =
    Pair<Pair<Pair<int, long>, Pair<long, int>>, Pair<Pair<int, int>, Pair<long, long>>>;
using Fourfold = Pair<Pair<Twofold, Pair<Twofold, int>>, Pair<Pair<long, Twofold>, Twofold>>;
using Eightfold = Pair<Pair<Fourfold, Pair<Fourfold, int>>, Pair<Pair<long, Fourfold>, Fourfold>>;
using Sixteenfold =
    Pair<Pair<Eightfold, Pair<Eightfold, int>>, Pair<Pair<long, Eightfold>, Eightfold>>;

template <class T>
[[gnu::noinline]] void longNamed() {
    behindTheCall = 4;
}

} // namespace stackTraceTest

namespace {

/// Has no name in the dynamic symbol table.
[[gnu::noinline]] void nameless() {
    stackTraceTest::behindTheCall = 3;
}

constexpr const char* emptyTraceText = "  <empty bactrace, possibly corrupt>\n";

std::string textOf(const StackTrace& trace) {
    std::ostringstream stream;
    stream << trace;
    return stream.str();
}

std::string fdTextOf(const StackTrace& trace) {
    StandardErrorPieces pieces;
    writeSymbolsToFd(trace, STDERR_FILENO);
    return joined(pieces.take());
}

std::string functionOfFirstFrame(const StackTrace& trace) {
    const std::string text = textOf(trace);
    const auto begin = text.find(" : ") + 3;
    return text.substr(begin, text.find(" +", begin) - begin);
}

} // namespace

TEST(StackTraceCapture, leavesOutItselfAndItsCaller) {
    EXPECT_EQ(stackTraceTest::callerOfInnermost(0).begin, 2);
    EXPECT_EQ(functionOfFirstFrame(stackTraceTest::callerOfInnermost(sanitizerFrames)),
              "stackTraceTest::callerOfInnermost(int)");
}

TEST(StackTraceCapture, skipLeavesOutMoreFrames) {
    EXPECT_EQ(stackTraceTest::callerOfInnermost(1).begin, 3);
    EXPECT_THAT(functionOfFirstFrame(stackTraceTest::callerOfInnermost(1 + sanitizerFrames)),
                HasSubstr("skipLeavesOutMoreFrames"));
}

TEST(StackTraceCapture, skipBeyondTheDepthGivesAnEmptyTrace) {
    for (const int skip : {63, 64, 1000, INT_MAX}) {
        const StackTrace trace = StackTrace::capture(skip);

        EXPECT_EQ(trace.begin, trace.end) << skip;
        EXPECT_EQ(textOf(trace), emptyTraceText) << skip;
    }
}

TEST(StackTraceCapture, skipAboutTheDepthNeverBeginsBehindTheEnd) {
    const int depth = StackTrace::capture(0).end;

    EXPECT_EQ(StackTrace::capture(depth - 3).begin, depth - 1);
    for (const int skip : {depth - 2, depth - 1, depth, depth + 1})
        EXPECT_EQ(StackTrace::capture(skip).begin, depth) << skip;
}

TEST(StackTraceCapture, goesNoDeeperThan64Frames) {
    const StackTrace trace = stackTraceTest::deep(100);

    EXPECT_EQ(trace.end, 64);
    EXPECT_EQ(trace.begin, 2);
}

TEST(StackTraceText, isALineEndAndOneDecodedLineForEachFrame) {
    const StackTrace trace = stackTraceTest::callerOfInnermost(sanitizerFrames);
    const std::string text = textOf(trace);

    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + trace.end - trace.begin);
    EXPECT_THAT(text, testing::ContainsRegex("^\n  [^ ]*vx-tests : "
                                             "stackTraceTest::callerOfInnermost\\(int\\) "
                                             "\\+0x[0-9a-f]+\n  "));
}

TEST(StackTraceText, isTheSameOnADescriptor) {
    const StackTrace trace = stackTraceTest::callerOfInnermost(0);

    EXPECT_EQ(fdTextOf(trace), textOf(trace));
}

TEST(StackTraceText, nameThatCannotBeDemangledIsWrittenAsItIs) {
    StackTrace trace;
    trace.frames[0] = dlsym(RTLD_DEFAULT, "abs");
    trace.end = 1;

    EXPECT_THAT(textOf(trace), testing::ContainsRegex("^\n  .*libc.so.6 : abs \\+0\n$"));
}

TEST(StackTraceText, functionWithoutANameLeavesItsPlaceEmpty) {
    StackTrace trace;
    trace.frames[0] = reinterpret_cast<void*>(&nameless);
    trace.end = 1;

    EXPECT_THAT(textOf(trace), testing::ContainsRegex("^\n  .*vx-tests :  \\+0x[0-9a-f]+\n$"));
    EXPECT_EQ(fdTextOf(trace), textOf(trace));
}

TEST(StackTraceText, namesBeyondTheBufferAreWrittenWholeBetweenShortOnes) {
    StackTrace trace;
    trace.frames[0] = dlsym(RTLD_DEFAULT, "abs");
    trace.frames[1] =
        reinterpret_cast<void*>(&stackTraceTest::longNamed<stackTraceTest::Sixteenfold>);
    trace.frames[2] = reinterpret_cast<void*>(&stackTraceTest::callerOfInnermost);
    trace.frames[3] = trace.frames[1];
    trace.end = 4;

    const std::string text = textOf(trace);

    const auto begin = text.find("void stackTraceTest::longNamed<");
    const auto end = text.find("> >()", begin);
    ASSERT_NE(end, std::string::npos);
    const std::string name = text.substr(begin, end - begin);
    EXPECT_GT(name.size(), 8096);
    EXPECT_NE(text.find(" : stackTraceTest::callerOfInnermost(int) +0\n"), std::string::npos);
    EXPECT_NE(text.find(name, end), std::string::npos);
    EXPECT_EQ(fdTextOf(trace), text);
}

TEST(StackTraceText, frameOfNoLibraryIsWrittenWhole) {
    StackTrace trace;
    trace.frames[0] = reinterpret_cast<void*>(0x10);
    trace.end = 1;

    EXPECT_EQ(textOf(trace), "\n  [0x10]\n");
    EXPECT_EQ(fdTextOf(trace), "\n  [0x10]\n");
}

// The address sanitizer sees it when the symbols aren't freed.
TEST(StackTraceText, streamThatThrowsEndsTheText) {
    struct FullBuffer : std::streambuf {
    } full;
    std::ostream stream(&full);
    stream.exceptions(std::ios::badbit);

    EXPECT_THROW(stream << stackTraceTest::callerOfInnermost(0), std::ios::failure);
}

TEST(StackTraceText, leavesNothingOnTheHeap) {
    StackTrace trace;
    trace.frames[0] = reinterpret_cast<void*>(&stackTraceTest::callerOfInnermost);
    trace.end = 1;

    EXPECT_EQ(leftOnTheHeapBy([&trace] { textOf(trace); }), 0);
}

TEST(StackTraceText, emptyTraceSaysSo) {
    EXPECT_EQ(textOf(StackTrace()), emptyTraceText);
    EXPECT_EQ(fdTextOf(StackTrace()), emptyTraceText);
}

TEST(StackTraceText, traceThatBeginsBehindItsEndTerminates) {
    const auto write = [] {
        StackTrace trace;
        trace.begin = 1;
        std::set_terminate([] { // so that it's told from an assertion
            constexpr std::string_view word = "terminated";
            vx::detail::writeToFd(STDERR_FILENO, word.data(), word.size());
            std::abort();
        });
        textOf(trace);
    };

    EXPECT_EQ(joined(piecesOfAbort(write)), "terminated");
}

TEST(WriteToFd, goesOnBehindAWriteThatTookNothing) {
    std::string taken;
    bool isFirst = true;
    const auto reluctant =
        c_calls::write.replaceBy([&](int, const void* data, std::size_t size) -> ssize_t {
            if (std::exchange(isFirst, false))
                return 0;
            taken.append(static_cast<const char*>(data), size);
            return static_cast<ssize_t>(size);
        });

    vx::detail::writeToFd(STDERR_FILENO, "text", 4);

    EXPECT_EQ(taken, "text");
}

TEST(SplitSymbol, dropsTheAddressBehindTheParenthesis) {
    EXPECT_EQ(splitSymbol("/usr/bin/x(main+0x12) [0x1234]"),
              (SymbolParts{"/usr/bin/x", "main", "0x12"}));
}

TEST(SplitSymbol, nameMayBeEmpty) {
    EXPECT_EQ(splitSymbol("path(+0x12) [0x1234]"), (SymbolParts{"path", "", "0x12"}));
}

TEST(SplitSymbol, pathMayBeEmpty) {
    EXPECT_EQ(splitSymbol("(main+0x12) [0x1234]"), (SymbolParts{"", "main", "0x12"}));
}

TEST(SplitSymbol, takesTheLastParenthesisAndTheLastPlus) {
    EXPECT_EQ(splitSymbol("a(b(c+d+0x1)"), (SymbolParts{"a(b", "c+d", "0x1"}));
}

TEST(SplitSymbol, passesOverAClosingParenthesisAheadOfAnyPlus) {
    EXPECT_EQ(splitSymbol("x(1)(f+0x1) [0x2]"), (SymbolParts{"x(1)", "f", "0x1"}));
}

TEST(SplitSymbol, endsAtTheFirstClosingParenthesisBehindAPlus) {
    EXPECT_EQ(splitSymbol("x(f+0x1) (g+0x2)"), (SymbolParts{"x", "f", "0x1"}));
    EXPECT_EQ(splitSymbol("a+b) x(f+0x1)"), std::nullopt);
}

TEST(SplitSymbol, looksForNoParenthesisBehindTheSymbol) {
    EXPECT_EQ(splitSymbol(std::string_view("x(f+0x1)").substr(0, 7)), std::nullopt);
}

TEST(SplitSymbol, otherFormsAreNotSplit) {
    for (const char* symbol : {"", "/lib/libc.so.6 [0x1234]", "x(f) [0x1]", "x+0x1) [0x1]",
                               "x+(f) [0x1]", "x(f+0x1 [0x1]"})
        EXPECT_EQ(splitSymbol(symbol), std::nullopt) << symbol;
}
