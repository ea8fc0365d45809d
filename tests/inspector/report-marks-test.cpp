#include "inspector/report/summary.h"
#include "written-log.h"

#include <gmock/gmock.h>

#include <array>

using namespace inspector;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char* twoMeters = R"({"slaveAddress":1},{"slaveAddress":2})";

/// What the report tells of what no single line shows.
class ReportMarks : public HomeModelTest {
protected:
    /// Polls of the meters of these addresses, two seconds apart.
    void polls(int count, const std::vector<int>& addresses, bool fails = false) {
        for (; count > 0; --count, m_begin += 2000) {
            if (fails)
                log.at(m_begin + 50).failure(timedOut, powerRegister);
            log.at(m_begin + 1500);
            for (const int address : addresses)
                log.message(address, m_begin);
        }
    }
    /// A reply with this list of attached meters.
    void list(const std::string& meters) {
        log.serial("Attached Meters result:{\"data\":[" + meters + "]}");
        log.serial("Cycling meters");
    }
    void outage(int count) {
        for (; count > 0; --count, m_begin += 2000)
            log.at(m_begin + 1500).unconnected();
    }
    /// A poll of one meter whose counter of energy shows this.
    void energy(const std::string& kilowattHours, const std::string& watts = "0") {
        log.at(m_begin + 1500)
            .message(1, m_begin,
                     ",\"powerConsumed\":" + watts + ",\"energyConsumed\":" +
                         (kilowattHours == "null" ? "null" : kilowattHours + "e6"));
        m_begin += 2000;
    }
    /// The keys, behind each its meter if it has one.
    std::vector<std::string> keys() {
        model.finish();
        std::vector<std::string> list;
        for (const Notice& notice : summaryOf(home).notices)
            list.push_back(notice.key +
                           (notice.meter ? " " + home.meters[*notice.meter].id : std::string()));
        return list;
    }

private:
    Moment m_begin = 0;
};

} // namespace

TEST_F(ReportMarks, tellAMeterThatIsSilent) {
    polls(3, {1, 2});
    polls(60, {1});

    EXPECT_THAT(keys(), ElementsAre("meter-silent S-2"));
}

TEST_F(ReportMarks, tellNoMeterSilentWhileTheServiceIsAway) {
    polls(3, {1, 2});
    outage(60);

    EXPECT_THAT(keys(), ElementsAre("no-service"));
}

TEST_F(ReportMarks, tellNoMeterSilentThoughTheLogEndsInAPollWhileTheServiceIsAway) {
    polls(3, {1, 2});
    outage(60);
    log.at(126050).failure(timedOut, powerRegister);

    EXPECT_THAT(keys(), Not(Contains("meter-silent S-1")));
}

TEST_F(ReportMarks, tellNoMeterSilentInWhosePlaceIsAnother) {
    polls(3, {1});
    for (Moment begin = 6000; begin < 180000; begin += 2000)
        log.at(begin + 1500).message(1, begin, "", "NEW");

    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(ReportMarks, tellNoMeterSilentThatWasTakenOffTheList) {
    list(twoMeters);
    polls(3, {1, 2});
    list(R"({"slaveAddress":1})");
    polls(60, {1});

    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(ReportMarks, tellMetersSilentWhoseListWasEmptied) {
    list(twoMeters);
    polls(3, {1, 2});
    for (int i = 0; i < 60; ++i) {
        list("");
        polls(1, {});
    }

    EXPECT_THAT(keys(), ElementsAre("meter-silent S-1", "meter-silent S-2"));
}

TEST_F(ReportMarks, tellMetersSilentWhoseListCouldNotBeRead) {
    list(twoMeters);
    polls(3, {1, 2});
    log.serial("Attached Meters result:nonsense").serial("Cycling meters");
    polls(60, {1});

    EXPECT_THAT(keys(), ElementsAre("meter-silent S-2"));
}

TEST_F(ReportMarks, tellAtWhichMeterValuesAreShifted) {
    const auto read = [&](int address, const std::vector<int>& values) {
        log.begin(address);
        const std::array fields = {"powerImport", "energyImport", "energyExport"};
        for (std::size_t i = 0; i < values.size(); ++i)
            log.serial("value:" + std::to_string(values[i]) + " modbusFieldType:" + fields[i] +
                       " scaleValue:1");
        log.serial("Reading aReading:{\"id\":S-" + std::to_string(address) +
                   ",\"slaveAddress\":" + std::to_string(address) +
                   ",\"meteringType\":modbus,\"lastChanged\":2026-11-14T03:24:09.000Z}");
    };
    log.tick();
    read(1, {10, 100, 1000});
    read(2, {710, 12345, 2345});
    log.tick().failure(timedOut, powerRegister);
    read(1, {10, 100, 1000});
    read(2, {710, 12345, 2345});
    log.tick().failure(timedOut, powerRegister);
    read(2, {2345, 710, 12345});

    EXPECT_THAT(keys(), Contains("late-answer S-2"));
    EXPECT_THAT(keys(), Not(Contains("late-answer")));
}

TEST_F(ReportMarks, tellReadingsThatAreOldThoughMessagesGoOn) {
    polls(3, {1});
    polls(60, {1}, true);

    EXPECT_THAT(keys(), ElementsAre("readings-stale S-1", "register-unread S-1"));
}

TEST_F(ReportMarks, tellACounterThatRanBackwards) {
    for (const char* energy : {"3600", "3601", "3599", "3600"})
        this->energy(energy);

    EXPECT_THAT(keys(), ElementsAre("counter-backwards S-1"));
}

TEST_F(ReportMarks, tellACounterThatJumped) {
    for (const char* energy : {"3600", "3601", "7200", "7201"})
        this->energy(energy);

    EXPECT_THAT(keys(), ElementsAre("counter-jump S-1"));
}

TEST_F(ReportMarks, tellACounterThatRanBackwardsAfterTheClockWasSetBack) {
    for (const Moment begin : {900000, 902000, 0, 2000, 4000}) {
        const std::string energy = begin == 4000 ? "3500e6" : "3600e6";
        log.at(begin + 1500).message(1, begin, ",\"energyConsumed\":" + energy);
    }
    EXPECT_THAT(keys(), testing::UnorderedElementsAre("counter-backwards S-1", "time-jump"));
}

TEST_F(ReportMarks, tellACounterThatStoodStill) {
    for (int i = 0; i < 60; ++i)
        energy("3600", "100000");

    EXPECT_THAT(keys(), ElementsAre("counter-still S-1"));
}

TEST_F(ReportMarks, tellNothingOfACounterThatGaveNoNumberForAWhile) {
    for (const char* energy : {"3600", "3601", "null", "3602", "null", "null", "3603"})
        this->energy(energy, "null");

    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(ReportMarks, tellAMessageOfWhichTheServiceTookAPart) {
    polls(2, {1});
    for (const char* taken : {"9", "155", "0"})
        log.line("NOTIC modbusreaderSocketWriter",
                 std::string("TRANSFERRED  self->m_buffer.size():155 size:") + taken +
                     " socket-writer.cpp:47");

    EXPECT_THAT(keys(), ElementsAre("partly-taken"));
    EXPECT_EQ(home.troubles.begin()->second.seen.count, 1U);
}

TEST_F(ReportMarks, tellBadSettingsOfTheLog) {
    log.plain("Failed to parse /etc/libvx, error:-1");
    polls(2, {1});

    EXPECT_THAT(keys(), ElementsAre("bad-log-settings"));
}

TEST_F(ReportMarks, tellThatDescriptorsRanOut) {
    polls(2, {1});
    log.line("WARN  modbusSerial",
             "Could not connect TCP strerror((*__errno_location ())):Too many open files "
             "toolkit.cpp:201");

    EXPECT_THAT(keys(), ElementsAre("no-descriptors", "no-tcp"));
}

TEST_F(ReportMarks, tellAnExceptionThatNothingCaught) {
    polls(2, {1});
    log.plain("terminate called after throwing an instance of 'std::bad_alloc'");

    EXPECT_THAT(keys(), ElementsAre("uncaught-exception"));
}

TEST_F(ReportMarks, tellTwoDaemonsInOneLog) {
    for (const int thread : {412, 413, 412, 413, 412})
        log.process(thread).tick();

    EXPECT_THAT(keys(), ElementsAre("two-daemons"));
}

TEST_F(ReportMarks, tellLinesThatWereCutOrForged) {
    log.tick();
    Line line = parseLine("[2026-11-14T03:24:19.000+01:00] 412 WARN  modbusSerial Could not rea");
    model.add(line);
    line = parseLine("[2026-11-14T03:24:20.000+01:00] 412 NOTIC modbusSerial result:{} a.cpp:1");
    line.forged = 2;
    model.add(line);

    const std::vector<Notice> notices = summaryOf(home).notices;
    ASSERT_EQ(notices.size(), 2U);
    EXPECT_EQ(notices[0].key, "lines-forged");
    EXPECT_EQ(notices[0].seen.count, 2U);
    EXPECT_EQ(notices[0].seen.first, start + 11000);
    EXPECT_TRUE(notices[0].needsPerson);
    EXPECT_EQ(notices[1].key, "lines-cut");
    EXPECT_EQ(notices[1].seen.count, 1U);
    EXPECT_EQ(notices[1].seen.last, start + 10000);
    EXPECT_FALSE(notices[1].needsPerson);
}
