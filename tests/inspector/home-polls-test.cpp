#include "written-log.h"

using namespace inspector;

namespace {

using HomePollsTest = HomeModelTest;

constexpr int polls = 3;

} // namespace

TEST_F(HomePollsTest, areToldByTheTicksAloneWhereTheLogHasNothingElse) {
    for (int i = 0; i <= polls; ++i)
        log.at(Moment{2000} * i).tick();
    model.finish();

    EXPECT_EQ(home.polls, 3U);
    EXPECT_EQ(home.pollLengths.quantile(0.5), 2000);
}

TEST_F(HomePollsTest, areToldByTheTicksBetweenMessages) {
    for (int i = 0; i <= polls; ++i)
        log.at(Moment{2000} * i)
            .tick()
            .at(Moment{2000} * i + 1500)
            .message(1, Moment{2000} * i)
            .message(2, Moment{2000} * i + 50);
    log.at(8000).tick();

    EXPECT_EQ(home.polls, 4U);
    EXPECT_EQ(home.meters[1].polls, 4U);
    EXPECT_EQ(home.meters[1].goodPolls, 4U);
    EXPECT_EQ(home.pollLengths.count(), 4U);
}

TEST_F(HomePollsTest, countOnceWhateverTheyBeginWith) {
    for (int i = 0; i <= polls; ++i) {
        log.at(Moment{2000} * i).tick().serial("Main loop is alive").at(Moment{2000} * i + 10);
        log.line("DEBUG HttpClient", "return code: 200");
        log.serial("result:{}").serial("querySerialConnectionConfig m_config:{}");
        log.serial("Attached Meters result:{}").serial("Cycling meters");
    }
    EXPECT_EQ(home.polls, 3U);
    EXPECT_EQ(home.pollLengths.quantile(1), 2000);
}

TEST_F(HomePollsTest, countThoughTheServerGivesNoParameters) {
    const auto poll = [&](Moment time, bool hasParameters) {
        log.at(time);
        if (hasParameters)
            log.serial("result:{}");
        log.serial("Attached Meters result:{}");
    };
    poll(0, true);
    poll(2000, false);
    poll(4000, false);
    poll(6000, true);
    poll(8000, true);

    EXPECT_EQ(home.polls, 4U);
    EXPECT_EQ(home.pollLengths.count(), 4U);
}

TEST_F(HomePollsTest, ofAnOutageOfTheServiceTellNothingOfTheMeters) {
    log.at(0).tick().at(1500).message(1, 500);
    log.at(2000).tick().at(3500).unconnected();
    log.at(4000).tick().at(5500).unconnected();
    log.at(6000).tick();

    EXPECT_EQ(home.polls, 3U);
    EXPECT_EQ(home.meters[0].polls, 1U);
    EXPECT_EQ(home.meters[0].goodPolls, 1U);
}

TEST_F(HomePollsTest, ofAnOutageOfTheServiceCountWhereTheLogTellsWhatWasRead) {
    for (const Moment time : {0, 2000, 4000}) {
        log.at(time).tick().begin(7).at(time + 500);
        log.serial("Reading aReading:{\"id\":S-7,\"slaveAddress\":7,\"meteringType\":modbus,"
                   "\"lastChanged\":2026-11-14T03:24:09.000Z}");
        log.unconnected();
    }
    EXPECT_EQ(home.meters[0].polls, 2U);
    EXPECT_EQ(home.meters[0].goodPolls, 2U);
}

TEST_F(HomePollsTest, areUnknownWhereOnlyAnOutageOfTheServiceShows) {
    for (const Moment time : {0, 2000, 400000})
        log.at(time).unconnected();
    model.finish();

    EXPECT_EQ(home.polls, std::nullopt);
    EXPECT_EQ(home.gaps, std::nullopt);
    EXPECT_EQ(home.pollLengths.count(), 0U);
    EXPECT_EQ(home.lost, 3U);
}

TEST_F(HomePollsTest, haveNoLengthOverAClockThatWasSet) {
    log.at(0).tick().at(2000).tick().at(1000000000).tick().at(1000002000).tick();

    EXPECT_EQ(home.polls, 3U);
    EXPECT_EQ(home.pollLengths.count(), 2U);
    EXPECT_EQ(home.pollLengths.longest(), 2000);
}

TEST_F(HomePollsTest, haveNoLengthOverATroubleOfTheServerThatLeavesThemWithoutMessages) {
    log.at(2000).message(1, 0).at(4000).message(1, 2000);
    log.at(60000).line("ERROR HttpClient", "Request failed: GET http://x, Reason: y");
    log.at(120000).message(1, 118000).at(122000).message(1, 120000);
    model.finish();

    EXPECT_EQ(home.polls, 4U);
    EXPECT_EQ(home.pollLengths.count(), 2U);
    EXPECT_EQ(home.pollLengths.longest(), 2000);
}
