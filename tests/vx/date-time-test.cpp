#include "vx/date-time.h"

#include "real-time.h"
#include "support/temporary-directory.h"
#include "support/thrown-text.h"
#include "support/time-zone.h"
#include "vx/record.h"

#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <new>
#include <numeric>
#include <string>

// The span is marked as deprecated, and is the argument's type all the same.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace std::chrono_literals;

namespace {

vx::DateTime at(std::chrono::nanoseconds sinceEpoch) {
    return vx::DateTime(sinceEpoch);
}

vx::DateTime parse(const std::string& text) {
    return vx::toDateTime(vx::CharSpan(text.data(), text.size()));
}

/// Milliseconds since the epoch.
long long parsedMs(const std::string& text) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(parse(text).time_since_epoch())
        .count();
}

/// Local time of a whole second, by `strftime`.
std::string byCLibrary(vx::DateTime time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm tm{};
    localtime_r(&seconds, &tm);
    char text[40];
    std::strftime(text, sizeof text, "%FT%T.000%z", &tm);
    return std::string(text).insert(26, ":");
}

std::string failureOf(const std::string& text) {
    return thrownText([&] { parse(text); });
}

} // namespace

TEST(DateTimeToString, isUtcWithMillisecondsAndZ) {
    EXPECT_EQ(vx::toString(at(1794623049123456789ns)), "2026-11-14T02:24:09.123Z");
    EXPECT_EQ(vx::toString(at(0ns)), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(vx::toString(at(7ms)), "1970-01-01T00:00:00.007Z");
}

TEST(DateTimeToString, cutsToMillisecondsWithoutRounding) {
    EXPECT_EQ(vx::toString(at(1999999999ns)), "1970-01-01T00:00:01.999Z");
}

TEST(DateTimeToString, doesNotDependOnTheTimeZone) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");

    EXPECT_EQ(vx::toString(at(1794623049123ms)), "2026-11-14T02:24:09.123Z");
}

TEST(DateTimeToString, wholeSecondsBeforeTheEpochAreWrittenToo) {
    EXPECT_EQ(vx::toString(at(-1s)), "1969-12-31T23:59:59.000Z");
}

TEST(DateTimeToString, signOfMillisecondsBeforeTheEpochPushesTheZOutOfThe24Characters) {
    EXPECT_EQ(vx::toString(at(-1007ms)), "1969-12-31T23:59:59.-07Z");
    EXPECT_EQ(vx::toString(at(-1099ms)), "1969-12-31T23:59:59.-99Z");
    EXPECT_EQ(vx::toString(at(-1100ms)), "1969-12-31T23:59:59.-100");
    EXPECT_EQ(vx::toString(at(-1500ms)), "1969-12-31T23:59:59.-500");
}

TEST(DateTimeNow, beyondTheYear2038GoesThroughJsonAndBack) {
    const auto clock = realTimeAt(0x100000000);

    const auto json = vx::toJsonFragment(vx::now());

    EXPECT_EQ(vx::toJson(json), R"("2106-02-07T06:28:16.000Z")");
    EXPECT_EQ(vx::fromJson<vx::DateTime>(json.get()), at(0x100000000 * 1s));
}

TEST(ToLocalMsIsoString, hasTheOffsetWithAColon) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");

    EXPECT_EQ(vx::toLocalMsIsoString(at(1794623049123456789ns)), "2026-11-14T03:24:09.123+01:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(1783391049007ms)), "2026-07-07T04:24:09.007+02:00");
}

TEST(ToLocalMsIsoString, inUtcTheOffsetIsPlusZero) {
    const TimeZone zone("UTC0");

    EXPECT_EQ(vx::toLocalMsIsoString(at(1794623049123ms)), "2026-11-14T02:24:09.123+00:00");
}

TEST(ToLocalMsIsoString, offsetMayBeNegativeAndOfPartsOfAnHour) {
    const TimeZone zone("NST3:30");

    EXPECT_EQ(vx::toLocalMsIsoString(at(1794623049123ms)), "2026-11-13T22:54:09.123-03:30");
}

TEST(ToLocalMsIsoString, cutsToMillisecondsWithoutRounding) {
    const TimeZone zone("UTC0");

    EXPECT_EQ(vx::toLocalMsIsoString(at(1999999999ns)), "1970-01-01T00:00:01.999+00:00");
}

TEST(ToLocalMsIsoString, signOfMillisecondsBeforeTheEpochStaysWithinThe29Characters) {
    const TimeZone zone("UTC0");

    EXPECT_EQ(vx::toLocalMsIsoString(at(-1005ms)), "1969-12-31T23:59:59.-05+00:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(-1099ms)), "1969-12-31T23:59:59.-99+00:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(-1100ms)), "1969-12-31T23:59:59.-100+0:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(-1500ms)), "1969-12-31T23:59:59.-500+0:00");
}

TEST(ToLocalMsIsoString, touchesNothingBehindItsText) {
    std::array<char, 30> memory;
    std::iota(memory.begin(), memory.end(), '\0');

    new (memory.data()) vx::detail::LocalTimeText(vx::detail::localTimeText(at(0s)));

    EXPECT_EQ(memory.back(), 29);
}

TEST(ToLocalMsIsoString, aZoneWhoseOffsetDoesNotFitGivesUtc) {
    const TemporaryDirectory directory;
    // The format of RFC 8536 with one zone of an offset of four bytes.
    const auto fileOf = [](const std::string& offset) {
        return "TZif" + std::string(16 + 4 * 4, '\0') + std::string("\0\0\0\1\0\0\0\4", 8) +
               offset + std::string("\0\0BIG\0", 6);
    };
    const std::string seconds400000("\x00\x06\x1A\x80", 4);
    const std::string hours100("\x00\x05\x7E\x40", 4);
    for (const std::string& offset : {seconds400000, hours100}) {
        const TimeZone zone((":" + directory.write("zone", fileOf(offset))).c_str());

        EXPECT_EQ(vx::toLocalMsIsoString(at(1500ms)), "1970-01-01T00:00:01.500+00:00");
    }
}

TEST(ToLocalMsIsoString, followsATimeZoneThatIsSetWithinASecond) {
    const vx::DateTime time = at(1794623049123ms);

    const TimeZone utc("UTC0");
    EXPECT_EQ(vx::toLocalMsIsoString(time), "2026-11-14T02:24:09.123+00:00");
    const TimeZone kathmandu("NPT-5:45");
    EXPECT_EQ(vx::toLocalMsIsoString(time), "2026-11-14T08:09:09.123+05:45");
}

TEST(ToLocalMsIsoString, followsDaylightSavingToTheSecond) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");

    EXPECT_EQ(vx::toLocalMsIsoString(at(1774745999999ms)), "2026-03-29T01:59:59.999+01:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(1774746000000ms)), "2026-03-29T03:00:00.000+02:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(1792889999999ms)), "2026-10-25T02:59:59.999+02:00");
    EXPECT_EQ(vx::toLocalMsIsoString(at(1792890000000ms)), "2026-10-25T02:00:00.000+01:00");
}

TEST(ToLocalMsIsoString, isWhatTheCLibraryWritesFromTheFirstYearToTheLast) {
    for (const char* name :
         {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "NST3:30", "WST-14", "AST12:59"}) {
        const TimeZone zone(name);
        // A step of no round number, so that all parts of the moment vary.
        for (vx::DateTime time = vx::DateTime::min() + 24h; time < vx::DateTime::max() - 2400h;
             time += 7654321987654321ns) {
            const auto whole = std::chrono::floor<std::chrono::seconds>(time);
            EXPECT_EQ(vx::toLocalMsIsoString(whole), byCLibrary(whole));
        }
    }
}

TEST(ToDateTime, fractionIsOptional) {
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00Z"), 1230886800000);
}

TEST(ToDateTime, fractionCountsAsHundredsTensAndUnits) {
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00.5Z"), 1230886800500);
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00.07Z"), 1230886800070);
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00.123Z"), 1230886800123);
}

TEST(ToDateTime, digitsBehindTheMillisecondsAreIgnored) {
    EXPECT_EQ(parse("2009-01-02T09:00:00.123456Z"), at(1230886800123ms));
}

TEST(ToDateTime, firstCharacterThatIsNoDigitEndsTheFraction) {
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00.1x3Z"), 1230886800100);
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00.x23Z"), 1230886800000);
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00.Z"), 1230886800000);
}

TEST(ToDateTime, textBetweenTheSecondsAndTheZIsIgnored) {
    EXPECT_EQ(parsedMs("2009-01-02T09:00:00+01:00Z"), 1230886800000);
}

TEST(ToDateTime, doesNotDependOnTheTimeZone) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");

    EXPECT_EQ(parsedMs("2009-07-02T09:00:00Z"), 1246525200000);
}

TEST(ToDateTime, monthAndDayBeyondTheirEndAreCarriedOver) {
    EXPECT_EQ(parse("2021-13-01T00:00:00Z"), parse("2022-01-01T00:00:00Z"));
    EXPECT_EQ(parse("2021-02-30T00:00:00Z"), parse("2021-03-02T00:00:00Z"));
    EXPECT_EQ(parse("2021-01-01T24:00:00Z"), parse("2021-01-02T00:00:00Z"));
    EXPECT_EQ(parse("2021-03-00T00:00:00Z"), parse("2021-02-28T00:00:00Z"));
}

TEST(ToDateTime, aSecondOf60IsCarriedOver) {
    EXPECT_EQ(parse("2016-12-31T23:59:60Z"), parse("2017-01-01T00:00:00Z"));
}

TEST(ToDateTime, blanksAndSignsAheadOfTheNumbersAreAccepted) {
    EXPECT_EQ(parse("2009- 1- 2T 9: 5: 7Z"), parse("2009-01-02T09:05:07Z"));
    EXPECT_EQ(parse("2009-+1-+2T+9:+5:+7Z"), parse("2009-01-02T09:05:07Z"));
    EXPECT_EQ(parse("2009-01--1T-1:-1:-1Z"), parse("2008-12-29T22:58:59Z"));
    EXPECT_EQ(parse(" 2009-01-02T09:05:07Z"), parse("2009-01-02T09:05:07Z"));
}

TEST(ToDateTime, firstYearIs1900) {
    EXPECT_EQ(parsedMs("1900-01-01T00:00:00Z"), -2208988800000);
}

TEST(ToDateTime, readsBackWhatToStringWroteCutToMilliseconds) {
    const auto time = at(1794623049123456789ns);

    EXPECT_EQ(parse(vx::toString(time)), at(1794623049123ms));
}

TEST(ToDateTime, fewerThan20CharactersFailWithTheSize) {
    EXPECT_EQ(failureOf("2009-01-02T09:00:0Z"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z s:2009-01-02T09:00:0Z "
              "s.size():19 condition:s.size() >= 20 vx/date-time.cpp:<line>");
    EXPECT_EQ(failureOf(""), "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z s: "
                             "s.size():0 condition:s.size() >= 20 vx/date-time.cpp:<line>");
}

TEST(ToDateTime, missingZFails) {
    EXPECT_EQ(failureOf("2009-01-02T09:00:00+01:00"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:2009-01-02T09:00:00+01:00 condition:boost::ends_with(s, \"Z\") "
              "vx/date-time.cpp:<line>");
    EXPECT_EQ(failureOf("2009-01-02T09:00:00z"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:2009-01-02T09:00:00z condition:boost::ends_with(s, \"Z\") "
              "vx/date-time.cpp:<line>");
}

TEST(ToDateTime, missingZIsToldBeforeAFormThatIsNone) {
    EXPECT_EQ(failureOf("not a date and time at all"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:not a date and time at all condition:boost::ends_with(s, \"Z\") "
              "vx/date-time.cpp:<line>");
}

TEST(ToDateTime, formThatYieldsFewerThanSixNumbersFails) {
    EXPECT_EQ(failureOf("2009-01-02 09:00:00Z"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:2009-01-02 09:00:00Z condition:parsedTokens == 6 vx/date-time.cpp:<line>");
    EXPECT_EQ(failureOf("2009-01-02T09:00-----Z"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:2009-01-02T09:00-----Z condition:parsedTokens == 6 vx/date-time.cpp:<line>");
}

TEST(ToDateTime, aFieldTakesAsManyDigitsAsItHas) {
    EXPECT_EQ(failureOf("12009-01-02T09:00:00Z"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:12009-01-02T09:00:00Z condition:parsedTokens == 6 vx/date-time.cpp:<line>");
    EXPECT_EQ(parsedMs("2009-01-02T09:00:001Z"), 1230886800000);
}

TEST(ToDateTime, theFractionIsLookedForInOnePlaceOnly) {
    EXPECT_EQ(parsedMs("2009-1-2T09:00:00.500Z"), 1230886800000);
    EXPECT_EQ(parsedMs("2009-1-2T09:00:00+1.5Z"), 1230886800500);
}

TEST(ToDateTime, aYearBeyondTheNanosecondsWrapsAround) {
    EXPECT_EQ(parse("2300-01-01T00:00:00Z"), at(-8032952073709551616ns));
}

TEST(ToDateTime, yearBefore1900Fails) {
    EXPECT_EQ(failureOf("1899-00-31T23:59:59Z"),
              "Expecting DateTime after year 1900 s:1899-00-31T23:59:59Z "
              "condition:tm.tm_year >= 1900 vx/date-time.cpp:<line>");
}

TEST(ToDateTime, monthZeroFails) {
    EXPECT_EQ(failureOf("2021-00-01T00:00:00Z"),
              "Expecting DateTime month >= 1 s:2021-00-01T00:00:00Z "
              "condition:tm.tm_mon >= 1 vx/date-time.cpp:<line>");
}

TEST(CharSpanWriter, writesTheCharactersOfTheSpan) {
    const std::string text = "abcdef";

    EXPECT_EQ(vx::str(vx::CharSpan(text.data() + 1, 3)), "bcd");
}
