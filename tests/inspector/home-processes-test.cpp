#include "written-log.h"

using namespace inspector;

namespace {

using HomeProcessesTest = HomeModelTest;

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
