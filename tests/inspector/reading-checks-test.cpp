#include "inspector/home/reading-checks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace inspector;

namespace {

/// The readings of a meter whose counters follow its power.
class ReadingChecksTest : public testing::Test {
protected:
    struct Pace {
        /// How many times faster than the clock the home's time runs.
        double speed = 1;
        Moment seconds = 10;
        /// In which the counter counts, in kilowatt-hours.
        double resolution = 0.00001;
        /// Of what the meter shows as power, to watts.
        double unit = 1;
    };

    void begin(const Pace& pace) {
        m_pace = pace;
        m_watts = 0;
        m_meter = {};
        m_checks = {};
    }
    void read(double watts, double lost = 0) {
        const double wattSeconds =
            (m_watts + watts) / 2 * static_cast<double>(m_pace.seconds) * m_pace.speed;
        m_watts = watts;
        m_energy += wattSeconds / 3.6e6 + lost;
        m_time += 1000 * m_pace.seconds;
        LoggedReading reading{.time = m_time};
        reading.values[0] = static_cast<float>(watts / m_pace.unit);
        reading.values[firstEnergy] = static_cast<float>(std::floor(m_energy / m_pace.resolution) *
                                                         m_pace.resolution * 3.6e6);
        m_checks.take(m_meter, reading, true, {});
    }
    std::size_t jumps() const { return m_meter.counters[0].jumps.count; }

private:
    Pace m_pace;
    double m_watts = 0;
    double m_energy = 1000;
    Moment m_time = 1794623049000;
    Meter m_meter;
    ReadingChecks m_checks;
};

} // namespace

TEST_F(ReadingChecksTest, tellAJumpThatThePowerDoesNotExplain) {
    for (int i = 0; i < 100; ++i)
        read(5000, i == 50 ? 13 : 0);
    EXPECT_EQ(jumps(), 1U);
}

TEST_F(ReadingChecksTest, tellAJumpOfAMeterThatIsReadOnceAMinute) {
    begin({.seconds = 60, .resolution = 1});
    for (int i = 0; i < 100; ++i)
        read(10000, i == 50 ? 20 : 0);
    EXPECT_EQ(jumps(), 1U);
}

TEST_F(ReadingChecksTest, tellNoJumpOfALoadThatIsSwitchedOn) {
    for (const Pace& pace :
         {Pace{}, Pace{.seconds = 600}, Pace{.resolution = 0.1}, Pace{.seconds = 60, .unit = 1000},
          Pace{.speed = 60}, Pace{.speed = 3600}, Pace{.speed = 3600, .resolution = 0.1}}) {
        begin(pace);
        read(10000);
        for (int round = 0; round < 5; ++round) {
            for (int i = 0; i < 100; ++i)
                read(50);
            for (int i = 0; i < 10; ++i)
                read(20000);
        }
        EXPECT_EQ(jumps(), 0U) << pace.speed << " " << pace.seconds << " " << pace.resolution;
    }
}

TEST_F(ReadingChecksTest, tellNoJumpOfAMeterThatShowsNoPower) {
    begin({.seconds = 300, .unit = INFINITY});
    for (int i = 0; i < 100; ++i)
        read(i < 50 ? 50 : 20000);
    EXPECT_EQ(jumps(), 0U);
}

TEST_F(ReadingChecksTest, tellNoJumpInHomesThatRunFasterThanTheClock) {
    std::minstd_rand random(1);
    for (const double speed : {1.0, 24.0, 60.0, 720.0, 3600.0}) {
        begin({.speed = speed, .seconds = 2});
        double hours = 0;
        double kettle = 0;
        for (int i = 0; i < 10000; ++i) {
            hours += speed * 2 / 3600;
            const double sun = std::max(0.0, std::sin(hours * M_PI / 12));
            kettle = random() % 20 == 0 ? 3000.0 * static_cast<double>(random() % 4) : kettle;
            read(1 + 8000 * sun + kettle);
        }
        EXPECT_EQ(jumps(), 0U) << speed;
    }
}
