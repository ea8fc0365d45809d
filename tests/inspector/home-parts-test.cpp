#include "inspector/home/length-histogram.h"
#include "inspector/home/readings.h"
#include "inspector/live/meter-course.h"
#include "inspector/log/text-fields.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace inspector;

TEST(Readings, areTheSameInAMessageAndInARecord) {
    for (
        const std::string text :
        {R"({"id":"4\/0","slaveAddress":7,"meteringType":"modbus","lastChanged":"2026-11-14T03:24:08.123Z","tariffEnabled":true,"powerConsumed":1500.5,"t6EnergyProduced":3.5})",
         R"({"id":4/0,"slaveAddress":7,"meteringType":modbus,"lastChanged":2026-11-14T03:24:08.123Z,"tariffEnabled":1,"powerConsumed":1500.5,"t6EnergyProduced":3.5})"}) {
        const auto reading = readingOf(text);
        ASSERT_TRUE(reading);
        EXPECT_EQ(reading->id, "4/0");
        EXPECT_EQ(reading->slaveAddress, 7);
        EXPECT_EQ(reading->time, 1794626648123);
        EXPECT_TRUE(reading->tariffEnabled);
        EXPECT_EQ(reading->values[0], 1500.5);
        EXPECT_EQ(reading->values[15], 3.5);
    }
    EXPECT_FALSE(readingOf("{}"));
    EXPECT_FALSE(readingOf(R"({"slaveAddress":7})"));
    EXPECT_FALSE(readingOf(R"({"slaveAddress":7,"meteringType":"modbus","lastChanged":"2026"})"));
}

TEST(Readings, areOfAMeterAtAddressZeroWhereNoneIsTold) {
    for (
        const std::string text :
        {R"({"id":"S-0","meteringType":"modbus","lastChanged":"2026-11-14T03:24:08.123Z","powerConsumed":3})",
         R"({"id":S-0,"meteringType":modbus,"lastChanged":2026-11-14T03:24:08.123Z,"powerConsumed":3})"}) {
        const auto reading = readingOf(text);
        ASSERT_TRUE(reading);
        EXPECT_EQ(reading->id, "S-0");
        EXPECT_EQ(reading->slaveAddress, 0);
        EXPECT_EQ(reading->values[0], 3);
    }
    const auto nameless =
        readingOf(R"({"meteringType":modbus,"lastChanged":2026-11-14T03:24:08.123Z})");
    ASSERT_TRUE(nameless);
    EXPECT_EQ(nameless->id, "");
}

TEST(Readings, takeNoPartOfAnIdForAnother) {
    const std::string id = R"("a","slaveAddress":9,"meteringType":modbus,"lastChanged":x)";
    const auto reading = readingOf(
        R"({"id":)" + id +
        R"(,"slaveAddress":7,"meteringType":modbus,"lastChanged":2026-11-14T03:24:08.123Z})");
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->id, id);
    EXPECT_EQ(reading->slaveAddress, 7);
}

TEST(Readings, undoWhatJsonWritesOfControlCharactersInAnId) {
    const std::string id = "a\1\t\n\r\b\f\\\"/\xE4";
    const std::string end =
        R"(,"slaveAddress":7,"meteringType":"modbus","lastChanged":"2026-11-14T03:24:08.123Z"})";
    const auto reading =
        readingOf(R"({"id":"a\u0001\t\n\r\b\f\\\"\/)" + std::string("\xE4\"") + end);
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->id, id);
}

TEST(Readings, holdNoNumberWhereTheDaemonHadNone) {
    const std::string start =
        R"({"id":"1","slaveAddress":7,"meteringType":"modbus","lastChanged":"2026-11-14T03:24:08.123Z")";
    for (const std::string none : {"null", "nan", "-nan", "inf", "1e308", "-1e39", "1e999"}) {
        const auto reading =
            readingOf(start + ",\"powerConsumed\":" + none + ",\"energyConsumed\":2}");
        ASSERT_TRUE(reading);
        EXPECT_TRUE(std::isnan(reading->values[0])) << none;
        EXPECT_EQ(reading->values[1], 0);
        EXPECT_EQ(reading->values[2], 2);
    }
}

TEST(MeterCourse, takesNoPointOfWhatIsNoNumber) {
    Meter meter;
    meter.last = LoggedReading{.time = 1000};
    meter.last->values[0] = NAN;
    meter.last->values[firstEnergy] = NAN;
    MeterCourse course;
    course.take(meter, 1, 0);

    EXPECT_TRUE(course.powers().empty());
    ASSERT_EQ(course.days().size(), 1U);
    EXPECT_EQ(course.days()[0].last[firstEnergy], 0);
}

TEST(LengthHistogram, tellsWhatAShareDoesNotExceed) {
    LengthHistogram lengths;
    EXPECT_EQ(lengths.quantile(0.5), std::nullopt);
    for (int i = 1; i <= 100; ++i)
        lengths.add(i);
    EXPECT_EQ(lengths.quantile(0.5), 50);
    EXPECT_EQ(lengths.quantile(0.95), 95);
    EXPECT_EQ(lengths.quantile(1), 100);
    lengths.add(1000000);
    EXPECT_NEAR(static_cast<double>(*lengths.quantile(1)), 1000000, 1000);
    EXPECT_EQ(lengths.longest(), 1000000);
}

TEST(TextFields, fitAPatternInWhichDotsStandForAnything) {
    EXPECT_TRUE(fitsPattern("ec:x", "ec:…"));
    EXPECT_TRUE(fitsPattern("a b c", "a…c"));
    EXPECT_TRUE(fitsPattern("ab", "ab"));
    EXPECT_FALSE(fitsPattern("abc", "ab"));
    EXPECT_FALSE(fitsPattern("xec:x", "ec:…"));
    EXPECT_TRUE(fitsPattern("a 1 b 2", "a … b …"));
    EXPECT_FALSE(fitsPattern("a 1 c 2", "a … b …"));
}
