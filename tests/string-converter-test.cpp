#include "string-converter.h"

#include "support/c-calls.h"
#include "support/heap.h"
#include "support/thrown-text.h"

#include <gtest/gtest.h>

#include <cerrno>

using orv::StringConverter;

namespace {

/// How often the conversion of @p input calls `iconv`.
int callsFor(StringConverter& converter, const std::string& input) {
    int calls = 0;
    const auto counting = c_calls::iconv.observeBy(
        [&calls](iconv_t, char**, std::size_t*, char**, std::size_t*) { ++calls; });
    converter.convert(input);
    return calls;
}

std::string failure(StringConverter& converter, const std::string& input) {
    return thrownText([&] { converter.convert(input); });
}

} // namespace

TEST(StringConverter, leavesGoodUtf8) {
    EXPECT_EQ(StringConverter("UTF-8", "UTF-8").convert("abc"), "abc");
    EXPECT_EQ(StringConverter("UTF-8", "UTF-8").convert("ä€"), "ä€");
}

TEST(StringConverter, convertsBetweenEncodings) {
    EXPECT_EQ(StringConverter("ISO-8859-1", "UTF-8").convert("\xE4"), "ä");
}

TEST(StringConverter, anEmptyStringConvertsToAnEmptyString) {
    EXPECT_EQ(StringConverter("UTF-8", "UTF-8").convert(""), "");
}

TEST(StringConverter, anEmbeddedNulSurvives) {
    const std::string text("a\0b", 3);

    EXPECT_EQ(StringConverter("UTF-8", "UTF-8").convert(text), text);
}

TEST(StringConverter, anUnknownEncodingThrowsWithTheSystemsText) {
    EXPECT_EQ(thrownText([] { StringConverter("NO-SUCH", "UTF-8"); }), "iconv: Invalid argument");
}

TEST(StringConverter, aTruncatedSequenceIsIncomplete) {
    StringConverter converter("UTF-8", "UTF-8");

    EXPECT_EQ(failure(converter, "a\xC3"),
              "iconv: could not convert to UTF-8 encoding, incomplete multibyte sequence!");
}

TEST(StringConverter, aLoneContinuationByteIsInvalid) {
    StringConverter converter("UTF-8", "UTF-8");

    EXPECT_EQ(failure(converter, "\x80"),
              "iconv: could not convert to UTF-8 encoding, invalid character sequence!");
}

TEST(StringConverter, anOutputBeyondFourTimesTheInputHasNoSpace) {
    // UTF-32 begins with a mark of its own, so one character takes eight bytes.
    StringConverter converter("UTF-8", "UTF-32");

    EXPECT_EQ(failure(converter, "a"),
              "iconv: could not convert to UTF-32 encoding, insufficient space in output buffer!");
}

TEST(StringConverter, anyOtherFailureHasTheSystemsText) {
    StringConverter converter("UTF-8", "UTF-8");
    const auto failing =
        c_calls::iconv.replaceBy([](iconv_t, char**, std::size_t*, char**, std::size_t*) {
            errno = EBADF;
            return static_cast<std::size_t>(-1);
        });

    EXPECT_EQ(failure(converter, "a"),
              "iconv: could not convert to UTF-8 encoding, Bad file descriptor");
}

TEST(StringConverter, withoutMemoryForFourTimesTheInputItThrowsAndCanBeUsedAgain) {
    StringConverter converter("UTF-8", "UTF-8");
    const std::string text(12345, 'a');

    {
        const c_calls::UnobtainableSize none(49380);
        EXPECT_EQ(failure(converter, text), "Could not allocate memory for string conversion!");
    }

    EXPECT_EQ(converter.convert(text), text);
}

TEST(StringConverter, anEmptyStringIsNoConversionAndLeavesTheStateOfAFailureToTheNextOne) {
    StringConverter converter("ISO-2022-JP", "UTF-8");

    EXPECT_EQ(callsFor(converter, ""), 0);
    failure(converter, "\x1B$B\xFF");
    EXPECT_EQ(callsFor(converter, ""), 0);

    EXPECT_EQ(converter.convert("abc"), "abc");
}

TEST(StringConverter, isResetAfterAFailureOnly) {
    StringConverter converter("UTF-8", "UTF-8");

    EXPECT_EQ(callsFor(converter, "a"), 1);
    EXPECT_EQ(callsFor(converter, "b"), 1);
    failure(converter, "\xFF");
    EXPECT_EQ(callsFor(converter, "c"), 2);
}

TEST(StringConverter, isCleanAgainAfterAnInvalidSequence) {
    // The shift to double bytes outlives a failed conversion unless the state is reset.
    StringConverter converter("ISO-2022-JP", "UTF-8");
    EXPECT_EQ(failure(converter, "\x1B$B\xFF"),
              "iconv: could not convert to UTF-8 encoding, invalid character sequence!");

    EXPECT_EQ(converter.convert("abc"), "abc");
}

TEST(StringConverter, isCleanAgainAfterAnIncompleteSequence) {
    StringConverter converter("ISO-2022-JP", "UTF-8");
    EXPECT_EQ(failure(converter, "\x1B$B$"),
              "iconv: could not convert to UTF-8 encoding, incomplete multibyte sequence!");

    EXPECT_EQ(converter.convert("abc"), "abc");
}

TEST(StringConverter, isCleanAgainAfterALackOfSpace) {
    // Not clean, it would leave out the mark that it has written, and find the space.
    StringConverter converter("UTF-8", "UTF-32");

    for (int attempt = 1; attempt <= 2; ++attempt) {
        EXPECT_EQ(
            failure(converter, "a"),
            "iconv: could not convert to UTF-32 encoding, insufficient space in output buffer!")
            << attempt;
    }
}

TEST(StringConverter, keepsItsStateFromOneConversionToTheNext) {
    StringConverter converter("ISO-2022-JP", "UTF-8");

    EXPECT_EQ(converter.convert("\x1B$B$\""), "あ");
    EXPECT_EQ(converter.convert("$\""), "あ");
}

TEST(StringConverter, resetsItsStateOncePerFailure) {
    StringConverter converter("UTF-8", "UTF-8");
    failure(converter, "\x80");

    EXPECT_EQ(callsFor(converter, "a"), 2);
    EXPECT_EQ(callsFor(converter, "a"), 1);
}

TEST(StringConverter, leavesNothingOnTheHeap) {
    EXPECT_EQ(leftOnTheHeapBy([] { StringConverter("UTF-8", "UTF-8").convert("abc"); }), 0);
}
