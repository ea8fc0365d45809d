#include "base.h"

#include "support/c-calls.h"
#include "support/curl-calls.h"
#include "support/log-capture.h"
#include "support/thrown-text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

using namespace orv;
using namespace std::string_literals;
using testing::AnyOf;
using testing::ElementsAre;
using testing::Pair;

namespace {

std::string replaced(std::string s, const std::string& from, const std::string& to) {
    replaceAll(s, from, to);
    return s;
}

bool encodesWithoutAHandle() {
    const auto none = curl_calls::easy_init.replaceBy([] { return nullptr; });
    try {
        urlEncode("a");
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

/// The handle is made once in a process, so a child has to try before any test, whatever their
/// order.
const bool throwsWithoutAHandle = [] {
    const pid_t child = fork();
    if (child == 0)
        _exit(encodesWithoutAHandle() ? 1 : 0);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}();

} // namespace

TEST(NumbersFromText, areReadInBaseZero) {
    EXPECT_EQ(strToIntDef("0x10", 5), 16);
    EXPECT_EQ(strToIntDef("010", 5), 8);
    EXPECT_EQ(strToIntDef("-12", 5), -12);
    EXPECT_EQ(strToUIntDef("0x10", 5), 16U);
    EXPECT_EQ(strToUIntDef("4294967295", 5), 4294967295U);
    EXPECT_EQ(strToULongLongDef("18446744073709551615", 5), 18446744073709551615ULL);
    EXPECT_EQ(strToULongLongDef("0x10", 5), 16ULL);
    EXPECT_EQ(strToULongLongDef("010", 5), 8ULL);
    EXPECT_EQ(strToDouble("2.5", 1.0), 2.5);
}

TEST(NumbersFromText, giveTheDefaultForARestOrAnEmptyText) {
    for (const std::string& text : {"12a"s, ""s, "x"s, "12\0"s}) {
        EXPECT_EQ(strToIntDef(text, 5), 5) << text;
        EXPECT_EQ(strToUIntDef(text, 5), 5U) << text;
        EXPECT_EQ(strToULongLongDef(text, 5), 5ULL) << text;
        EXPECT_EQ(strToDouble(text, 5.5), 5.5) << text;
    }
}

TEST(NumbersFromText, theDefaultOfTheLongestHas32BitsOnly) {
    static_assert(std::is_same_v<decltype(&strToULongLongDef),
                                 unsigned long long (*)(const std::string&, unsigned)>);
    EXPECT_EQ(strToULongLongDef("", 4294967295), 4294967295ULL);
}

TEST(NumbersFromText, withoutADefaultGiveTheValue) {
    EXPECT_EQ(strToInt("0x10"), 16);
    EXPECT_EQ(strToUInt("16"), 16U);
    EXPECT_EQ(strToULongLong("16"), 16ULL);
    EXPECT_EQ(strToDouble("1e3"), 1000.0);
}

TEST(NumbersFromText, withoutADefaultThrowWithTheValue) {
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { strToInt("12a"); }),
              "strToInt: Could not parse value: '12a'");
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { strToUInt(""); }),
              "strToUInt: Could not parse value: ''");
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { strToULongLong("x"); }),
              "strToUInt: Could not parse value: 'x'");
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { strToDouble("x"); }),
              "strToDouble: Could not parse value: 'x'");
}

TEST(NumbersToText, areDecimalOrHexadecimal) {
    EXPECT_EQ(intToString(255, false), "255");
    EXPECT_EQ(intToString(255, true), "0xff");
    EXPECT_EQ(intToString(-1, true), "0xffffffffffffffff");
    EXPECT_EQ(intToString(std::numeric_limits<long long>::min(), false), "-9223372036854775808");
    EXPECT_EQ(uintToString(18446744073709551615ULL, false), "18446744073709551615");
    EXPECT_EQ(uintToString(255, true), "0xff");
    EXPECT_EQ(uintToString(0xFEDCBA9876543210ULL, true), "0xfedcba9876543210");
    EXPECT_EQ(unsignedLongIntToString(18446744073709551615ULL), "18446744073709551615");
    EXPECT_EQ(unsignedLongIntToHexString(48879), "beef");
    EXPECT_EQ(unsignedLongIntToHexString(0xFEDCBA9876543210ULL), "fedcba9876543210");
}

TEST(NumbersToText, aDoubleHasSixSignificantDigits) {
    EXPECT_EQ(doubleToString(1234567.0), "1.23457e+06");
    EXPECT_EQ(doubleToString(0.5), "0.5");
}

TEST(NumbersToText, bytesHaveTwoDigitsEach) {
    const unsigned char bytes[] = {0x00, 0x0A, 0xFF};

    EXPECT_EQ(hexEncodeByteArray(bytes, 3), "000aff");
    EXPECT_EQ(hexEncodeByteArray(bytes, 0), "");
}

TEST(Trim, removesBlanksTabsAndLineEndsAtBothEnds) {
    EXPECT_EQ(trim(" \t\r\na b\n "), "a b");
    EXPECT_EQ(trim(" \t "), "");
    EXPECT_EQ(trim(""), "");
    EXPECT_EQ(trim("\va"), "\va");
}

TEST(SplitString, cutsAtEachDelimiter) {
    EXPECT_THAT(splitString("a,,b,", ',', false), ElementsAre("a", "", "b", ""));
    EXPECT_THAT(splitString("", ',', false), ElementsAre(""));
}

TEST(SplitString, cutsAtADelimiterAtTheStart) {
    EXPECT_THAT(splitString(",a", ',', false), ElementsAre("", "a"));
}

TEST(SplitString, aNulMayBeTheDelimiter) {
    EXPECT_THAT(splitString(std::string("a\0b", 3), '\0', false), ElementsAre("a", "b"));
}

TEST(SplitString, aDelimiterBehindABackslashDoesNotSeparateAndTheBackslashStays) {
    EXPECT_THAT(splitString("a,b\\,c", ',', false), ElementsAre("a", "b\\,c"));
    EXPECT_THAT(splitString("\\,c", ',', false), ElementsAre("\\,c"));
}

TEST(SplitString, trimsThePartsOnOrder) {
    EXPECT_THAT(splitString(" a , b ", ',', true), ElementsAre("a", "b"));
    EXPECT_THAT(splitString(" a , b ", ',', false), ElementsAre(" a ", " b "));
}

TEST(SplitIntoKeyValue, cutsAtTheFirstEqualSign) {
    EXPECT_THAT(splitIntoKeyValue("a=b=c"), Pair("a", "b=c"));
    EXPECT_THAT(splitIntoKeyValue("a="), Pair("a", ""));
    EXPECT_THAT(splitIntoKeyValue("a"), Pair("", ""));
}

TEST(Join, putsTheDelimiterBetween) {
    EXPECT_EQ(join({"a", "", "b"}, ", "), "a, , b");
    EXPECT_EQ(join({}, ", "), "");
    EXPECT_EQ(join({"a", "b"}, std::string("\0-", 2)), std::string("a\0-b", 4));
}

TEST(ReplaceAll, neverLooksAtAReplacementAgain) {
    EXPECT_EQ(replaced("aXbX", "X", "XX"), "aXXbXX");
    EXPECT_EQ(replaced("abc", "", "x"), "abc");
}

TEST(FindAndUnescape, findsTheFirstUnescapedOneAndErasesTheBackslashes) {
    std::string s = "a\\,b\\,c,d";

    EXPECT_EQ(findAndUnescape(s, ',', 0), 5);
    EXPECT_EQ(s, "a,b,c,d");
}

TEST(FindAndUnescape, goesOnRightBehindAnEscapedOne) {
    std::string s = "\\,,";

    EXPECT_EQ(findAndUnescape(s, ',', 0), 1);
    EXPECT_EQ(s, ",,");
}

TEST(FindAndUnescape, theFirstCharacterHasNoBackslashAheadOfIt) {
    std::string s = ",a";

    EXPECT_EQ(findAndUnescape(s, ',', 0), 0);
    EXPECT_EQ(s, ",a");
}

TEST(FindAndUnescape, givesNposIfThereIsNone) {
    std::string s = "a\\,";

    EXPECT_EQ(findAndUnescape(s, ',', 0), std::string::npos);
    EXPECT_EQ(s, "a,");
    EXPECT_EQ(findAndUnescape(s, 'a', 1), std::string::npos);
}

TEST(PrefixAndSuffix, areCompared) {
    EXPECT_TRUE(beginsWith("abc", "ab"));
    EXPECT_FALSE(beginsWith("abc", "bc"));
    EXPECT_TRUE(endsWith("abc", "bc"));
    EXPECT_FALSE(endsWith("abc", "abcd"));
}

TEST(CarCdrPath, takesThePartBeforeTheFirstSlash) {
    std::string path = "a/b/c";

    EXPECT_EQ(carCdrPath(path), "a");
    EXPECT_EQ(path, "b/c");
    EXPECT_EQ(carCdrPath(path), "b");
    EXPECT_EQ(carCdrPath(path), "c");
    EXPECT_EQ(path, "");
}

TEST(AddTrailingBackslash, addsAForwardSlash) {
    EXPECT_EQ(addTrailingBackslash("/tmp"), "/tmp/");
    EXPECT_EQ(addTrailingBackslash("/tmp/"), "/tmp/");
    EXPECT_EQ(getTempDir(), "/tmp/");
}

TEST(DoIndent, isFourBlanksPerUnit) {
    EXPECT_EQ(doIndent(0), "");
    EXPECT_EQ(doIndent(2), "        ");
}

TEST(UrlEncode, escapesAllButUnreservedCharacters) {
    EXPECT_EQ(urlEncode("a b/c~ä"), "a%20b%2Fc~%C3%A4");
    EXPECT_EQ(urlEncode(""), "");
    EXPECT_EQ(urlEncode("a\0b"s), "a%00b");
}

TEST(UrlEncode, makesOneHandleForAllTexts) {
    urlEncode("a");
    const auto watched = curl_calls::easy_init.observeBy([] { ADD_FAILURE() << "one more"; });

    urlEncode("b");
}

TEST(UrlEncode, throwsForATextThatTheLibraryRefuses) {
    // Escaped, it is longer than libcurl makes any text.
    EXPECT_THROW(urlEncode(std::string(9000000, ' ')), std::bad_alloc);
    EXPECT_EQ(urlEncode(" "), "%20");
}

TEST(UrlEncode, throwsWithoutAHandle) {
    EXPECT_TRUE(throwsWithoutAHandle);
}

TEST(XmlStringEscape, replacesTheFiveCharactersOfMarkup) {
    EXPECT_EQ(XMLStringEscape("<a b=\"c\" d='e'>&"),
              "&lt;a b=&quot;c&quot; d=&apos;e&apos;&gt;&amp;");
}

TEST(XmlStringEscape, writesControlsInTwoPlacesAnd127InItsOddForm) {
    EXPECT_EQ(XMLStringEscape("\x01\x08\x0B\x0C\x0E\x1F \x7E\x7F"),
              "&#01;&#08;&#11;&#12;&#14;&#31; ~&#<7;");
}

TEST(XmlStringEscape, leavesTabLineEndsAndTheRestOfUtf8) {
    EXPECT_EQ(XMLStringEscape("\t\n\rä"), "\t\n\rä");
}

TEST(XmlStringEscape, stopsAtTheFirstNul) {
    EXPECT_EQ(XMLStringEscape(std::string("a\0b", 3)), "a");
}

TEST(XmlStringEscape, invalidUtf8IsClearedWithAWarning) {
    LogCapture log;

    EXPECT_EQ(XMLStringEscape("a\xFF"), "");

    EXPECT_THAT(log.take(), ElementsAre("warning System cleared out invalid UTF-8 string a\xFF "));
}

TEST(XmlStringEscape, looksForInvalidUtf8BehindANulToo) {
    LogCapture log;

    EXPECT_EQ(XMLStringEscape("a\0\xFF"s), "");

    EXPECT_THAT(log.take(),
                ElementsAre("warning System cleared out invalid UTF-8 string a\0\xFF "s));
}

TEST(FixUtf8, leavesGoodText) {
    EXPECT_EQ(fixUtf8("aä€"), "aä€");
}

TEST(FixUtf8, aLone0xFfGivesAnEmptyStringAndOneErrorLine) {
    LogCapture log;

    EXPECT_EQ(fixUtf8("\xFF"), "");

    EXPECT_THAT(log.take(),
                ElementsAre("error base Clearing invalid UTF-8 string. s:\xFF .cpp:<line>"));
    EXPECT_EQ(fixUtf8("good again"), "good again");
}

TEST(TruncateUtf8String, keepsWholeCharacters) {
    EXPECT_EQ(truncateUTF8String("äöü", 3), "ä");
    EXPECT_EQ(truncateUTF8String("äöü", 4), "äö");
    EXPECT_EQ(truncateUTF8String("€€", 5), "€");
    EXPECT_EQ(truncateUTF8String("€€", 3), "€");
    EXPECT_EQ(truncateUTF8String("\xF0\x9F\x98\x80!", 3), "");
    EXPECT_EQ(truncateUTF8String("\xF0\x9F\x98\x80!", 4), "\xF0\x9F\x98\x80");
    EXPECT_EQ(truncateUTF8String("\xF8\x88\x80\x80\x80!", 5), "\xF8\x88\x80\x80\x80");
}

TEST(TruncateUtf8String, knowsEachLeadByItsMaskAndNoOther) {
    const auto cut = [](const std::string& s, unsigned maxBytes) {
        return truncateUTF8String(s + "!", maxBytes);
    };
    EXPECT_EQ(cut("\xD0\x96", 2), "\xD0\x96");
    EXPECT_EQ(cut("\xDF\xBF", 2), "\xDF\xBF");
    EXPECT_EQ(cut("\xEF\xBF\xBD", 3), "\xEF\xBF\xBD");
    EXPECT_EQ(cut("\xF4\x8F\xBF\xBF", 4), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(cut("\xF7\xBF\xBF\xBF", 4), "\xF7\xBF\xBF\xBF");
    EXPECT_EQ(cut("\xFB\xBF\xBF\xBF\xBF", 5), "\xFB\xBF\xBF\xBF\xBF");
    EXPECT_EQ(cut("\xF8\x88\x80\x80\x80", 4), "");
    EXPECT_EQ(cut("\xFC\x84\x80\x80\x80\x80", 5), "");
    EXPECT_EQ(cut("\xFE\x80\x80\x80", 4), "");
    EXPECT_EQ(cut("\xF8\x80\x80", 3), "");
    EXPECT_EQ(cut("\xF0\x80", 2), "");
}

TEST(TruncateUtf8String, ofContinuationBytesAloneNothingIsLeft) {
    EXPECT_EQ(truncateUTF8String("\x80\x80\x80", 2), "");
    EXPECT_EQ(truncateUTF8String("\x80\x80", 1), "");
}

TEST(TruncateUtf8String, leavesAShorterTextAndGivesNothingForZero) {
    EXPECT_EQ(truncateUTF8String("abc", 3), "abc");
    EXPECT_EQ(truncateUTF8String("abc", 2), "ab");
    EXPECT_EQ(truncateUTF8String("abc", 0), "");
}

TEST(TruncateUtf8String, leavesATextOfThatSizeWhateverItHolds) {
    EXPECT_EQ(truncateUTF8String("a\xC3", 2), "a\xC3");
    EXPECT_EQ(truncateUTF8String(std::string("a\0b", 3), 3), std::string("a\0b", 3));
}

TEST(TruncateUtf8String, cutsAtANulAndASequenceThatDoesNotFit) {
    EXPECT_EQ(truncateUTF8String(std::string("a\0bcd", 5), 4), "a");
    EXPECT_EQ(truncateUTF8String("ab\x80zz", 3), "a");
    EXPECT_EQ(truncateUTF8String("a\xC3zz", 2), "a");
    EXPECT_EQ(truncateUTF8String("a\xC3\xA4\x80zz", 4), "a");
    EXPECT_EQ(truncateUTF8String("a\xE2\x82\xAC\x80zz", 5), "a");
    EXPECT_EQ(truncateUTF8String("\xFC\x84\x80\x80\x80\x80!", 6), "");
}

TEST(TruncateUtf8String, cutsOffAnIncompleteSequenceAheadOfANul) {
    EXPECT_EQ(truncateUTF8String(std::string("a\xC3\0zzz", 6), 5), "a");
    EXPECT_EQ(truncateUTF8String(std::string("a\xE2\x82\0zz", 6), 5), "a");
    EXPECT_EQ(truncateUTF8String(std::string("a\xC3\xA4\0zz", 6), 5), "a\xC3\xA4");
}

TEST(Sleep, takesSecondsOrMilliseconds) {
    std::vector<std::string> sleeps;
    const auto watchedSeconds = c_calls::sleep.observeBy(
        [&](unsigned seconds) { sleeps.push_back(std::to_string(seconds) + " s"); });
    const auto watchedMicroseconds = c_calls::usleep.observeBy(
        [&](useconds_t microseconds) { sleeps.push_back(std::to_string(microseconds) + " us"); });
    const auto begin = std::chrono::steady_clock::now();

    sleepMS(30);
    sleepSeconds(1);

    EXPECT_THAT(sleeps, ElementsAre("30000 us", "1 s"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1030));
}

TEST(RoundDigits, roundsToDecimalPlaces) {
    EXPECT_DOUBLE_EQ(roundDigits(1.2345, 2), 1.23);
    EXPECT_DOUBLE_EQ(roundDigits(-1.5, 0), -2.0);
    EXPECT_DOUBLE_EQ(roundDigits(2.5, 0), 3.0);
    EXPECT_DOUBLE_EQ(roundDigits(1234.0, -2), 1200.0);
}

TEST(Crc16, ofAnEmptyBufferIsZeroForAnyPolynomial) {
    const unsigned char data[] = {1};

    EXPECT_EQ(crc16(data, 0, 0xA001), 0);
    EXPECT_EQ(crc16(data, -1, 0x8408), 0);
}

TEST(Crc16, isTheReflectedOneFromZero) {
    const std::string check = "123456789";

    // The check values of CRC-16/ARC and CRC-16/KERMIT.
    EXPECT_EQ(crc16(reinterpret_cast<const unsigned char*>(check.data()), 9, 0xA001), 0xBB3D);
    EXPECT_EQ(crc16(reinterpret_cast<const unsigned char*>(check.data()), 9, 0x8408), 0x2189);
    EXPECT_EQ(update_crc(0, 1, 0xA001), 0xC0C1);
}

TEST(PropertiesTest, holdOneValuePerKey) {
    Properties properties{{"a", "1"}};

    EXPECT_TRUE(properties.has("a"));
    EXPECT_EQ(properties.get("a"), "1");
    properties.set("a", "2");
    properties.set("b", "3");
    EXPECT_EQ(properties.get("a"), "2");
    EXPECT_EQ(properties.get("b", "x"), "3");
    properties.unset("a");
    properties.unset("never there");
    EXPECT_FALSE(properties.has("a"));
}

TEST(PropertiesTest, aMissingKeyThrowsAndWithADefaultDoesNot) {
    const Properties properties;

    EXPECT_EQ(thrownBy<std::invalid_argument>([&] { properties.get("a"); }),
              "could not find value for 'a' in properties");
    EXPECT_EQ(properties.get("a", "default"), "default");
}

TEST(PropertiesTest, showPairsWithoutEscaping) {
    std::ostringstream stream;
    stream << Properties{{"a", "x\"y"}};

    EXPECT_EQ(stream.str(), R"( "a":"x"y")");
    EXPECT_EQ(Properties().toString(), "");
    EXPECT_THAT((Properties{{"a", "1"}, {"b", "2"}}.toString()),
                AnyOf(R"( "a":"1" "b":"2")", R"( "b":"2" "a":"1")"));
}
