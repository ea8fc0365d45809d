#include "inspector/live/health.h"
#include "inspector/live/meter-course.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using namespace inspector;
using vxModel::ModbusFieldType;

namespace {

constexpr Moment hour = 3600000;
constexpr Moment midnight = hour * 24 * 20770;
constexpr std::size_t energyConsumed = firstEnergy;

LoggedReading readingAt(Moment time, double power, double energy) {
    LoggedReading reading{.id = "S-1", .slaveAddress = 1, .time = time};
    reading.values[0] = power;
    reading.values[energyConsumed] = energy;
    return reading;
}

void fail(Meter& meter, ModbusFieldType fieldType, const std::string& kind, std::size_t poll) {
    RegisterFailure& failure = meter.failures[{{true, 10, fieldType}, kind}];
    failure.seen.add(0);
    failure.longestRun = 1;
    failure.poll = poll;
}

/// A meter that is read once a poll.
class CourseTest : public testing::Test {
protected:
    Meter m_meter;
    MeterCourse m_course;
    int m_offset = 0;

    void take(const LoggedReading& reading, std::size_t poll = 1) {
        m_meter.last = reading;
        m_course.take(m_meter, poll, m_offset);
    }
    double consumedOn(std::size_t day) const {
        const Day& x = m_course.days().at(day);
        return x.last[energyConsumed] - x.first[energyConsumed];
    }
};

/// A home with one meter that was just polled for the fifth time.
class HealthTest : public CourseTest {
protected:
    static constexpr Moment now = midnight;
    std::vector<MeterCourse> m_courses;
    Home m_home;

    Health health(double energy) {
        take(readingAt(now - 1000, 100, energy), 5);
        m_home.polls = 5;
        m_home.meters = {m_meter};
        m_courses = {m_course};
        return healthOf({m_home, m_courses, 0, now, now, {}, {}}, 0);
    }
};

} // namespace

TEST_F(CourseTest, takesTheMeanOfFifteenSeconds) {
    take(readingAt(midnight, 100, 0));
    take(readingAt(midnight + 14999, 300, 0));
    take(readingAt(midnight + 15000, -50, 0));

    ASSERT_EQ(m_course.powers().size(), 2U);
    EXPECT_EQ(m_course.powers()[0].time, midnight);
    EXPECT_EQ(m_course.powers()[0].watts, 200);
    EXPECT_EQ(m_course.powers()[1].watts, -50);
}

TEST_F(CourseTest, takesNoPowerThatStandsInForOneThatWasNotRead) {
    take(readingAt(midnight, 100, 1000), 1);
    EXPECT_EQ(m_course.power(), 100);

    fail(m_meter, ModbusFieldType::powerImport, "illegal-address", 2);
    take(readingAt(midnight + 20000, 100, 1000), 2);
    EXPECT_EQ(m_course.power(), std::nullopt);
    EXPECT_EQ(m_course.powers().size(), 1U);

    take(readingAt(midnight + 40000, 100, 1000), 3);
    EXPECT_EQ(m_course.power(), 100);
    EXPECT_EQ(m_course.powers().size(), 2U);
}

TEST_F(CourseTest, takesNoPowerThatIsNoNumber) {
    take(readingAt(midnight, std::numeric_limits<double>::quiet_NaN(), 1000));

    EXPECT_EQ(m_course.power(), std::nullopt);
    EXPECT_TRUE(m_course.powers().empty());
}

TEST_F(CourseTest, keepsSixHours) {
    for (Moment time = midnight; time <= midnight + 7 * hour; time += 15000)
        take(readingAt(time, 100, 0));

    EXPECT_EQ(m_course.powers().front().time, midnight + hour + 15000);
}

TEST_F(CourseTest, ofAllTimesGetsCoarserInPlaceOfShorter) {
    m_course = MeterCourse({.points = 4, .isOfAllTimes = true});
    for (const Moment second : {0, 15, 20, 45, 60})
        take(readingAt(midnight + 1000 * second, static_cast<double>(second), 0));
    ASSERT_EQ(m_course.powers().size(), 4U);

    take(readingAt(midnight + 75000, 75, 0));
    EXPECT_EQ(m_course.pointLength(), 30000);
    ASSERT_EQ(m_course.powers().size(), 3U);
    // The mean of 0, 15 and 20.
    EXPECT_DOUBLE_EQ(m_course.powers()[0].watts, 35 / 3.0);
    EXPECT_EQ(m_course.powers()[1].time, midnight + 30000);
    EXPECT_EQ(m_course.powers()[1].watts, 45);
    // The mean of 60 and 75.
    EXPECT_EQ(m_course.powers()[2].watts, 67.5);
}

TEST_F(CourseTest, beginsAnewWhenTheClockIsSetBack) {
    take(readingAt(midnight, 100, 1000));
    take(readingAt(midnight - 48 * hour, 200, 1000));

    ASSERT_EQ(m_course.powers().size(), 1U);
    EXPECT_EQ(m_course.powers()[0].watts, 200);
    EXPECT_EQ(m_course.days().size(), 1U);
}

TEST_F(CourseTest, countsWhatFlowsOvernightForTheNewDay) {
    take(readingAt(midnight - hour, 100, 1000));
    take(readingAt(midnight - 1000, 100, 1500));
    take(readingAt(midnight + 1000, 100, 1700));

    EXPECT_EQ(consumedOn(0), 500);
    EXPECT_EQ(consumedOn(1), 200);
}

TEST_F(CourseTest, dividesDaysInTheZoneOfTheLog) {
    m_offset = 60;
    take(readingAt(midnight - hour - 1000, 100, 1000));
    take(readingAt(midnight - hour, 100, 1500));

    EXPECT_EQ(m_course.days().size(), 2U);
}

TEST_F(CourseTest, countsNothingForADayThatIsUnknown) {
    take(readingAt(midnight - 1000, 100, 1000));
    take(readingAt(midnight + 24 * hour, 100, 9000));
    take(readingAt(midnight + 25 * hour, 100, 9100));

    EXPECT_EQ(consumedOn(1), 100);
}

TEST_F(CourseTest, takesNoFallOfACounterForEnergy) {
    take(readingAt(midnight + hour, 100, 1000));
    take(readingAt(midnight + 2 * hour, 100, 1500));
    take(readingAt(midnight + 3 * hour, 100, 500));
    take(readingAt(midnight + 4 * hour, 100, 700));

    EXPECT_EQ(consumedOn(0), 700);
}

TEST_F(CourseTest, takesNoFallOvernightForEnergyOfTheNewDay) {
    take(readingAt(midnight - hour, 100, 9000));
    take(readingAt(midnight + hour, 100, 50));
    take(readingAt(midnight + 2 * hour, 100, 80));

    EXPECT_EQ(consumedOn(0), 0);
    EXPECT_EQ(consumedOn(1), 30);
}

TEST_F(HealthTest, isGoodWithoutFailures) {
    EXPECT_EQ(health(1000), Health::good);
}

TEST_F(HealthTest, isSilentIfNoneOfItsRegistersIsAnswered) {
    fail(m_meter, ModbusFieldType::powerImport, "timeout", 5);
    fail(m_meter, ModbusFieldType::energyImport, "gateway-target", 5);

    EXPECT_EQ(health(1000), Health::silent);
}

TEST_F(HealthTest, isFailingIfOneRegisterOfSeveralTimesOut) {
    fail(m_meter, ModbusFieldType::powerImport, "timeout", 5);

    EXPECT_EQ(health(1000), Health::failing);
}

TEST_F(HealthTest, isFailingIfItRefusesARegister) {
    fail(m_meter, ModbusFieldType::powerImport, "timeout", 5);
    fail(m_meter, ModbusFieldType::energyImport, "illegal-address", 5);

    EXPECT_EQ(health(1000), Health::failing);
}

TEST_F(HealthTest, forgetsFailuresOfEarlierPolls) {
    fail(m_meter, ModbusFieldType::powerImport, "timeout", 4);
    fail(m_meter, ModbusFieldType::energyImport, "timeout", 4);

    EXPECT_EQ(health(1000), Health::good);
}
