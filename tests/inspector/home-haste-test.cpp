#include "inspector/report/summary.h"
#include "written-log.h"

#include <gmock/gmock.h>

using namespace inspector;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string lineOf(const std::string& baud) {
    return "Modbus serial device connecting serialDevice:/dev/ttymxc2 baud:" + baud +
           " parity:E dataBits:8 stopBits:1";
}

const std::string slowLine = lineOf("9600");

/// Reads of one meter on a line that takes 17 ms for the shortest question and answer, behind the
/// 20 ms ahead of each.
class HomeHasteTest : public HomeModelTest {
protected:
    /// A poll of so many values, each of which takes so many milliseconds.
    void poll(int values, Moment each) {
        log.at(m_time).tick().begin(7);
        for (; values > 0; --values)
            log.at(m_time += each).serial("value:1 modbusFieldType:powerImport scaleValue:1");
        log.serial("Reading aReading:{\"id\":S-7,\"slaveAddress\":7,\"meteringType\":modbus,"
                   "\"lastChanged\":2026-11-14T03:24:09.000Z}");
        m_time += 1000;
    }
    void timeOut() {
        log.at(m_time).tick().begin(7);
        log.at(m_time += 5000).failure(timedOut, powerRegister);
    }
    std::size_t hastyPolls() const {
        const auto found = home.lateAnswers.find("hasty");
        return found == home.lateAnswers.end() ? 0 : found->second.count;
    }
    std::vector<std::string> unknown() {
        log.serial("Attached Meters result:{\"data\":[]}").serial("Cycling meters");
        std::vector<std::string> sentences;
        for (const Unknown& x : unknownOf(home))
            sentences.push_back(sentenceOf(x));
        return sentences;
    }

    Moment m_time = 0;
};

} // namespace

TEST_F(HomeHasteTest, tellsValuesThatCameSoonerThanTheLineCarriesThem) {
    log.serial(slowLine);
    poll(100, 37);
    timeOut();
    poll(2, 37);
    EXPECT_EQ(hastyPolls(), 0U);
    poll(2, 36);
    poll(1, 21);
    EXPECT_EQ(hastyPolls(), 2U);
    EXPECT_THAT(unknown(), IsEmpty());

    poll(1, 40);
    poll(1, 21);
    EXPECT_EQ(hastyPolls(), 2U);
}

TEST_F(HomeHasteTest, saysOfALineThatTakesNoTimeThatItIsUnknown) {
    log.serial(slowLine);
    poll(50, 37);
    poll(1, 21);
    poll(200, 37);
    timeOut();
    poll(10, 21);

    EXPECT_EQ(hastyPolls(), 0U);
    EXPECT_THAT(unknown(),
                ElementsAre("Not in this log: readings that are older than their times, for want "
                            "of a hundred values at the pace of the serial line."));
}

TEST_F(HomeHasteTest, saysOfALineThatIsNotKnownThatItIsUnknown) {
    poll(200, 37);
    timeOut();
    poll(10, 21);

    EXPECT_EQ(hastyPolls(), 0U);
    EXPECT_THAT(unknown(),
                ElementsAre("Not in this log: readings that are older than their times, for want "
                            "of the parameters of the bus, which come with the start of the "
                            "reader."));
}

TEST_F(HomeHasteTest, saysOfALineThatWasNotKnownThatItIsUnknown) {
    poll(200, 37);
    timeOut();
    log.starts().serial(slowLine);
    poll(100, 37);

    EXPECT_THAT(unknown(), ElementsAre(HasSubstr("for want of the parameters of the bus")));
}

TEST_F(HomeHasteTest, saysOfALineThatEndedTooSoonThatItIsUnknown) {
    log.serial(slowLine);
    timeOut();
    poll(10, 37);
    log.serial(slowLine);
    poll(100, 37);

    EXPECT_THAT(unknown(), ElementsAre(HasSubstr("for want of a hundred values")));
}

TEST_F(HomeHasteTest, staysKnownOfALineThatBeganAnew) {
    log.serial(slowLine);
    poll(100, 37);
    timeOut();
    log.starts().serial(slowLine);
    poll(10, 37);

    EXPECT_THAT(unknown(), IsEmpty());
}

TEST_F(HomeHasteTest, isKnownByTheValuesBehindAFailureToo) {
    log.serial(slowLine);
    timeOut();
    poll(99, 37);
    EXPECT_THAT(unknown(), ElementsAre(HasSubstr("for want of a hundred values")));
    poll(1, 37);
    EXPECT_THAT(unknown(), IsEmpty());
}

TEST_F(HomeHasteTest, isKnownAt57600Baud) {
    log.serial(lineOf("57600"));
    poll(100, 22);
    timeOut();
    poll(2, 21);

    EXPECT_EQ(hastyPolls(), 1U);
    EXPECT_THAT(unknown(), IsEmpty());
}

TEST_F(HomeHasteTest, saysOfAFastLineThatItIsUnknown) {
    log.serial(lineOf("115200"));
    poll(200, 22);
    timeOut();
    poll(10, 20);

    EXPECT_EQ(hastyPolls(), 0U);
    EXPECT_THAT(unknown(),
                ElementsAre("Not in this log: readings that are older than their times, for want "
                            "of a serial line of 57600 baud or less."));
}

TEST_F(HomeHasteTest, isNotOfModbusTcp) {
    log.serial("Connecting TCP config:{\"port\":1502}");
    poll(200, 37);
    timeOut();
    poll(10, 21);

    EXPECT_EQ(hastyPolls(), 0U);
    EXPECT_THAT(unknown(), IsEmpty());
}

TEST_F(HomeHasteTest, takesNoClockThatWasSetBackForHaste) {
    log.serial(slowLine);
    poll(100, 37);
    poll(3, -10);
    poll(1, 21);

    EXPECT_EQ(hastyPolls(), 0U);
}
