#include "written-log.h"

#include <gmock/gmock.h>

using namespace inspector;
using testing::ElementsAre;

namespace {

/// Two meters, of which that at the address 2 is exchanged.
class HomeExchangeTest : public HomeModelTest {
protected:
    void polls(const std::string& id, bool fails = false) {
        for (int i = 0; i < 3; ++i, m_begin += 2000) {
            if (fails)
                log.at(m_begin + 600).failure(timedOut, powerRegister);
            log.at(m_begin + 1500).message(1, m_begin).message(2, m_begin + 500, "", id);
        }
    }

private:
    Moment m_begin = 0;
};

} // namespace

TEST_F(HomeExchangeTest, givesFailuresToTheNewMeter) {
    polls("OLD");
    polls("NEW", true);
    model.finish();

    ASSERT_EQ(home.meters.size(), 3U);
    EXPECT_EQ(home.meters[1].id, "OLD");
    EXPECT_TRUE(home.meters[1].failures.empty());
    EXPECT_EQ(home.meters[2].id, "NEW");
    ASSERT_EQ(home.meters[2].failures.size(), 1U);
    EXPECT_EQ(home.meters[2].failures.begin()->second.longestRun, 3U);
}

TEST_F(HomeExchangeTest, countsPollsForTheMeterThatIsThere) {
    polls("OLD");
    polls("NEW");
    model.finish();

    EXPECT_EQ(home.meters[0].polls, 6U);
    EXPECT_EQ(home.meters[1].polls, 3U);
    EXPECT_EQ(home.meters[1].goodPolls, 3U);
    EXPECT_EQ(home.meters[2].polls, 3U);
}

TEST_F(HomeExchangeTest, knowsWhoseFailuresWithASerialAreAllTheSame) {
    polls("OLD");
    polls("NEW");
    log.at(12600).failure(timedOut, serialRegister).at(13500).message(1, 12000);
    model.finish();

    EXPECT_TRUE(home.unattributed.empty());
    EXPECT_EQ(home.meters[2].failures.size(), 1U);
}

TEST_F(HomeExchangeTest, showsTheNewMeterByTheNameOfTheList) {
    log.serial(R"(Attached Meters result:{"data":[{"name":"Roof","slaveAddress":2}]})");
    log.serial("Cycling meters");
    const auto read = [&](const std::string& id, const std::string& second) {
        log.begin(2).serial("Reading aReading:{\"id\":" + id +
                            ",\"slaveAddress\":2,\"meteringType\":modbus,"
                            "\"lastChanged\":2026-11-14T03:24:" +
                            second + ".000Z}");
        log.tick();
    };
    read("OLD", "09");
    read("NEW", "11");

    ASSERT_EQ(home.meters.size(), 2U);
    EXPECT_THAT(presentMeters(home), ElementsAre(1U));
    EXPECT_EQ(home.meters[1].name, "Roof");
    EXPECT_TRUE(home.meters[1].isAttached);
}
