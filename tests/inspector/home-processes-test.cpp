#include "written-log.h"

using namespace inspector;

namespace {

class HomeProcessesTest : public HomeModelTest {
protected:
    /// Polls by the time at which they begin and what the timer shows then.
    void pollsWithTicks(const std::vector<std::pair<Moment, std::string>>& polls) {
        for (const auto& [time, expiry] : polls) {
            log.at(time).line("NOTIC modbusreaderMain", "retry timer m_timer.expiry():" + expiry +
                                                            " error_code:Success main.cpp:59");
            log.tick();
        }
    }
};

} // namespace

TEST_F(HomeProcessesTest, countsARestartAndItsTime) {
    log.tick().at(60000).process(413).line("NOTIC modbusreaderMain",
                                           "Starting modbus Reader main.cpp:74");
    EXPECT_EQ(home.processes, 2U);
    EXPECT_EQ(home.restarts.count, 1U);
    EXPECT_EQ(home.restarts.first, start + 60000);
    EXPECT_EQ(home.starts.count, 1U);
    EXPECT_EQ(home.mixed, 0U);
}

TEST_F(HomeProcessesTest, tellsTwoDaemonsInOneLogFromARestart) {
    for (int i = 0; i < 3; ++i)
        log.process(412).tick().process(413).tick();

    EXPECT_EQ(home.processes, 2U);
    EXPECT_EQ(home.mixed, 4U);
}

TEST_F(HomeProcessesTest, tellsGapsAndTimesThatJumpBack) {
    log.message(1, -1000).at(2000).message(1, 1000).at(400000).message(1, 399000);
    log.at(100000).message(1, 99000);

    EXPECT_EQ(home.gaps, 1U);
    ASSERT_EQ(home.firstGaps.size(), 1U);
    EXPECT_EQ(home.firstGaps[0].from, start + 2000);
    EXPECT_EQ(home.firstGaps[0].to, start + 400000);
    EXPECT_EQ(home.timeJumps.count, 1U);
}

TEST_F(HomeProcessesTest, tellsAClockThatWasSetForwardWithinAPollByTheTicksThatFollowOneAnother) {
    pollsWithTicks({{0, "98.25"}, {2000, "99.25"}});
    log.at(3000).begin(7).at(400000).begin(8);
    EXPECT_EQ(home.gaps, 1U);
    pollsWithTicks({{401000, "100.25"}, {403000, "101.25"}});

    EXPECT_EQ(home.gaps, 0U);
    EXPECT_TRUE(home.firstGaps.empty());
    EXPECT_EQ(home.leaps.count, 1U);
    EXPECT_EQ(home.leaps.first, start + 400000);
    EXPECT_EQ(home.pollLengths.longest(), 2000);
}

TEST_F(HomeProcessesTest, tellsAGapInWhichPollsAreMissing) {
    pollsWithTicks({{0, "98.25"}, {2000, "99.25"}, {400000, "298.25"}, {402000, "299.25"}});

    EXPECT_EQ(home.gaps, 1U);
    EXPECT_EQ(home.leaps.count, 0U);
}

TEST_F(HomeProcessesTest, tellsAGapBehindWhichAnotherProcessGoesOn) {
    pollsWithTicks({{0, "98.25"}, {2000, "99.25"}});
    log.process(413);
    pollsWithTicks({{400000, "100.25"}, {402000, "101.25"}});

    EXPECT_EQ(home.gaps, 1U);
    EXPECT_EQ(home.leaps.count, 0U);
}

TEST_F(HomeProcessesTest, tellsAGapWhereTheTicksAreTooLargeToTell) {
    pollsWithTicks({{0, "1.23457e+06"}, {2000, "1.23457e+06"}, {400000, "1.23457e+06"}});

    EXPECT_EQ(home.gaps, 1U);
    EXPECT_EQ(home.leaps.count, 0U);
}

TEST_F(HomeProcessesTest, tellsAClockThatWasSetForwardByAMessageThatWasReadLongAgo) {
    log.at(2000).message(1, 1000).at(4000).message(1, 3000);
    log.at(4000000).message(1, 5000).at(4002000).message(1, 4001000);

    EXPECT_EQ(home.gaps, 0U);
    EXPECT_EQ(home.leaps.count, 1U);
    // Of less than an hour it may be the length of the poll.
    log.at(7002000).message(1, 4003000);
    EXPECT_EQ(home.gaps, 1U);
    EXPECT_EQ(home.leaps.count, 1U);
}

TEST_F(HomeProcessesTest, takesNoMessageThatWasReadLongAgoForASignOfAnEarlierGap) {
    log.at(2000).message(1, 1000).at(4000).message(1, 3000);
    log.at(400000).message(1, 399000);
    log.process(413).at(401000).message(2, 400000);
    log.process(412).at(7600000).message(1, 400500);

    EXPECT_EQ(home.gaps, 2U);
    EXPECT_EQ(home.leaps.count, 0U);
}

TEST_F(HomeProcessesTest, takesNothingFromACutLineButItsTime) {
    log.plain("[2026-11-14T03:24:09.123+01:00]   412 WARN  modbusSerial Could not read register "
              "strerror((*__errno_location ())):Conn");
    model.finish();

    EXPECT_EQ(home.first, start + 123);
    EXPECT_TRUE(home.unattributed.empty());
}

TEST_F(HomeProcessesTest, countsAFailedAssertionAndAnExceptionThatNothingCaught) {
    log.tick();
    log.plain("Assertion failed.  condition:x a.cpp:1  void f()");
    log.plain("terminate called after throwing an instance of 'std::bad_alloc'");

    EXPECT_EQ(home.assertions.count, 1U);
    EXPECT_EQ(home.assertions.last, start);
    EXPECT_EQ(home.terminations.count, 1U);
}

TEST_F(HomeProcessesTest, countsAStartOfTheSameThreadAsARestart) {
    log.starts().tick().at(60000).starts().tick();
    log.starts();

    EXPECT_EQ(home.processes, 3U);
    EXPECT_EQ(home.restarts.count, 2U);
    EXPECT_EQ(home.restarts.first, start + 60000);
    EXPECT_EQ(home.mixed, 0U);
}

TEST_F(HomeProcessesTest, takesAThreadWhoseNumberComesAgainAfterRebootsForANewProcess) {
    Moment time = 0;
    for (const int thread : {412, 415, 412, 415}) {
        time += 3600000;
        log.at(time).process(thread).tick().at(time + 1000).tick();
    }

    EXPECT_EQ(home.processes, 4U);
    EXPECT_EQ(home.restarts.count, 3U);
    EXPECT_EQ(home.mixed, 0U);
}

TEST_F(HomeProcessesTest, takesTheStartForTheFirstLineThoughTheLoggerSpokeAhead) {
    log.line("DEBUG vxConf", "loaded conf.cpp:1").starts();

    EXPECT_EQ(home.processes, 1U);
    EXPECT_EQ(home.restarts.count, 0U);
}

TEST_F(HomeProcessesTest, keepsTheReadingsOfTheLastProcess) {
    const auto power = [](int watts) { return ",\"powerConsumed\":" + std::to_string(watts); };
    log.process(412).at(2000).message(1, 1000, power(10)).at(4000).message(1, 3000, power(20));
    log.process(413).at(60000).message(1, 59000, power(30)).at(62000).message(1, 61000, power(40));
    log.at(64000).message(1, 63000, power(50));
    model.finish();

    EXPECT_EQ(home.polls, 5U);
    ASSERT_TRUE(home.meters[0].last);
    EXPECT_EQ(home.meters[0].last->values[0], 50);
    EXPECT_EQ(home.meters[0].lastGood, start + 63000);
}

TEST_F(HomeProcessesTest, takesTheReadingsOfALaterProcessThoughTheClockWasSetBack) {
    log.process(412).at(90000000).message(1, 89999000).at(90002000).message(1, 90001000);
    log.process(413).at(2000).message(1, 1000).at(4000).message(1, 3000);
    model.finish();

    EXPECT_EQ(home.meters[0].lastGood, start + 3000);
}

TEST_F(HomeProcessesTest, takesTheNewerReadingOfTwoDaemons) {
    for (const int second : {2, 4, 6}) {
        const Moment time = Moment{1000} * second;
        log.process(412).at(time).message(1, time - 1000);
        log.process(413).at(time + 600).message(1, time - 400);
    }
    model.finish();

    EXPECT_EQ(home.meters[0].lastGood, start + 5600);
}
