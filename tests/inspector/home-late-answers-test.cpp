#include "written-log.h"

using namespace inspector;

namespace {

class HomeLateAnswersTest : public HomeModelTest {
protected:
    /// A poll of two meters in which reads fail at these times behind its begin.
    void poll(const std::vector<Moment>& failures, int watts) {
        const std::string power = ",\"powerConsumed\":" + std::to_string(watts);
        for (const Moment time : failures)
            log.at(m_begin + time).failure(badData, powerRegister);
        log.at(m_begin + 1500).message(1, m_begin, power).message(2, m_begin + 500, power);
        m_begin += 2000;
    }
    std::size_t polls(const char* mark) const {
        const auto found = home.lateAnswers.find(mark);
        return found == home.lateAnswers.end() ? 0 : found->second.count;
    }

    static constexpr const char* badData = "Unknown error 112345691";

private:
    Moment m_begin = 0;
};

} // namespace

TEST_F(HomeLateAnswersTest, areToldWhereNoAnswerFitsAtAnyMeter) {
    poll({}, 10);
    poll({100, 200, 600, 700}, 10);
    poll({}, 20);

    EXPECT_EQ(polls("no-answer-fits"), 1U);
}

TEST_F(HomeLateAnswersTest, areNotToldWhereOneMeterAnswers) {
    poll({}, 10);
    poll({600, 700, 800, 900}, 10);
    poll({}, 20);

    EXPECT_EQ(polls("no-answer-fits"), 0U);
}

TEST_F(HomeLateAnswersTest, areNotToldWhereTheMeterOfTheFailuresIsUnknown) {
    log.message(1, -1000).message(2, -900);
    log.at(600).failure(badData, serialRegister).failure(badData, powerRegister);
    log.failure(badData, powerRegister).failure(badData, powerRegister);
    log.at(2000).message(9, 500).at(4000).message(9, 2500);

    EXPECT_EQ(polls("no-answer-fits"), 0U);
}

TEST_F(HomeLateAnswersTest, areNotToldWhereAValueIsNew) {
    poll({}, 10);
    poll({100, 200, 600, 700}, 11);
    poll({}, 20);

    EXPECT_EQ(polls("no-answer-fits"), 0U);
}

TEST_F(HomeLateAnswersTest, areNotToldWhereARegisterIsRead) {
    for (int i = 0; i < 3; ++i) {
        log.tick().begin(1).serial("value:1 modbusFieldType:powerImport scaleValue:1");
        for (int failure = 0; failure < 4; ++failure)
            log.failure(badData, powerRegister);
        log.serial("Reading aReading:{\"id\":S-1,\"slaveAddress\":1,\"meteringType\":modbus,"
                   "\"lastChanged\":2026-11-14T03:24:09.000Z}");
    }
    EXPECT_EQ(polls("no-answer-fits"), 0U);
}
