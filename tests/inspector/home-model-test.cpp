#include "inspector/home/home-model.h"

#include "inspector/log/text-fields.h"
#include "vx/date-time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace inspector;
using testing::ElementsAre;
using vxModel::ModbusFieldType;

namespace {

constexpr Moment start = 1794623049000;

std::string utc(Moment time) {
    return vx::toString(vx::DateTime(std::chrono::milliseconds(time)));
}

/// Writes a log line by line, as the daemon does.
class Log {
public:
    explicit Log(HomeModel& model) : m_model(model) {}

    Log& at(Moment time) {
        m_time = start + time;
        return *this;
    }
    Log& process(int thread) {
        m_thread = thread;
        return *this;
    }
    Log& plain(const std::string& text) {
        m_model.add(parseLine(text));
        return *this;
    }
    Log& line(const std::string& head, const std::string& text) {
        std::string time = utc(m_time);
        time.replace(time.size() - 1, 1, "+00:00");
        return plain("[" + time + "] " + std::to_string(m_thread) + " " + head + " " + text);
    }
    Log& serial(const std::string& text) {
        return line("NOTIC modbusSerial", text + " toolkit.cpp:1");
    }
    Log& tick() { return line("NOTIC modbusreaderMain", "callback ec:Success main.cpp:64"); }
    Log& begin(int slaveAddress) {
        return serial("Reading meter now slaveAddress:" + std::to_string(slaveAddress));
    }
    Log& failure(const std::string& words, const std::string& record) {
        return line("WARN  modbusSerial",
                    "Could not read register strerror((*__errno_location ())):" + words +
                        " aRegister:{" + record + "} toolkit.cpp:345");
    }
    /// A message that the service takes, of a read that began at the time.
    Log& message(int slaveAddress, Moment began, const std::string& values = "") {
        const std::string text = R"({"id":"S-)" + std::to_string(slaveAddress) +
                                 R"(","slaveAddress":)" + std::to_string(slaveAddress) +
                                 R"(,"meteringType":"modbus","lastChanged":")" +
                                 utc(start + began) + "\"" + values + "}";
        plain("=================================");
        line("NOTIC modbusreaderSocketWriter",
             "Writing  m_buffer:" + text + " socket-writer.cpp:41");
        const std::string size = std::to_string(text.size());
        return line("NOTIC modbusreaderSocketWriter", "TRANSFERRED  self->m_buffer.size():" + size +
                                                          " size:" + size +
                                                          " socket-writer.cpp:47");
    }

private:
    HomeModel& m_model;
    Moment m_time = start;
    int m_thread = 412;
};

struct HomeModelTest : testing::Test {
    HomeModel model;
    Log log{model};
    const Home& home = model.home();
};

const std::string powerRegister =
    R"("address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"registerType":input)";
const std::string serialRegister = R"("address":70,"fieldType":serial,"modbusDataType":ascii)";
constexpr const char* timedOut = "Connection timed out";

} // namespace

TEST_F(HomeModelTest, ofNoLinesKnowsNothing) {
    EXPECT_EQ(home.lines, 0U);
    EXPECT_EQ(home.first, std::nullopt);
    EXPECT_EQ(home.polls, std::nullopt);
    EXPECT_EQ(home.delivered, std::nullopt);
    EXPECT_TRUE(home.meters.empty());
}

TEST_F(HomeModelTest, tellsPollsByTheirMessagesWhereNothingElseShowsThem) {
    for (const Moment time : {0, 2000, 4100, 6200})
        log.at(time).message(1, time - 1100).message(2, time - 1050);
    model.finish();

    EXPECT_EQ(home.polls, 4U);
    EXPECT_EQ(home.pollLengths.count(), 3U);
    EXPECT_EQ(home.pollLengths.quantile(0.5), 2100);
    EXPECT_EQ(home.offers, 8U);
    ASSERT_EQ(home.meters.size(), 2U);
    EXPECT_EQ(home.meters[1].id, "S-2");
    EXPECT_EQ(home.meters[1].slaveAddress, 2);
    EXPECT_EQ(home.meters[1].polls, 4U);
    EXPECT_EQ(home.meters[1].goodPolls, 4U);
    EXPECT_EQ(home.meters[1].delivered, 4U);
    EXPECT_EQ(home.meters[1].lost, 0U);
    EXPECT_EQ(home.meters[1].lastGood, start + 5150);
}

TEST_F(HomeModelTest, knowsNoPollsWhereNoLineShowsThem) {
    log.failure(timedOut, powerRegister).at(2000).failure(timedOut, powerRegister);
    log.plain("=================================");
    model.finish();

    EXPECT_EQ(home.polls, std::nullopt);
    EXPECT_EQ(home.gaps, std::nullopt);
    EXPECT_EQ(home.offers, 1U);
    EXPECT_TRUE(home.meters.empty());
    ASSERT_EQ(home.unattributed.size(), 1U);
    const auto& [kind, failure] = *home.unattributed.begin();
    EXPECT_EQ(kind.kind, "timeout");
    EXPECT_EQ(kind.place, (RegisterPlace{true, 10, ModbusFieldType::powerImport}));
    EXPECT_EQ(failure.seen.count, 2U);
    EXPECT_EQ(failure.seen.first, start);
    EXPECT_EQ(failure.seen.last, start + 2000);
    EXPECT_EQ(failure.longestRun, std::nullopt);
}

TEST_F(HomeModelTest, givesAFailureToTheMeterThatWasReadByTheTimes) {
    log.message(1, -1000).message(2, -900);
    log.at(1200).failure(timedOut, powerRegister);
    log.at(3000).message(1, 1000).message(2, 1100);
    model.finish();

    EXPECT_TRUE(home.meters[0].failures.empty());
    ASSERT_EQ(home.meters[1].failures.size(), 1U);
    EXPECT_EQ(home.meters[1].failures.begin()->second.longestRun, 1U);
    EXPECT_EQ(home.meters[0].goodPolls, 2U);
    EXPECT_EQ(home.meters[1].goodPolls, 1U);
    EXPECT_EQ(home.meters[1].carried, 1U);
}

TEST_F(HomeModelTest, givesTheFailuresWithASerialToTheMeterThatIsMissing) {
    log.message(1, -1000).message(2, -900);
    log.at(1200).failure(timedOut, serialRegister).failure(timedOut, powerRegister);
    log.at(3000).message(1, 1000);
    model.finish();

    EXPECT_TRUE(home.meters[0].failures.empty());
    EXPECT_EQ(home.meters[1].failures.size(), 2U);
    EXPECT_EQ(home.meters[1].polls, 2U);
    EXPECT_EQ(home.meters[1].delivered, 1U);
}

TEST_F(HomeModelTest, countsTheLongestRunOfAFailureInPolls) {
    Moment time = 0;
    for (const bool fails : {true, true, false, true, true, true, false}) {
        log.at(time).tick().begin(7);
        if (fails)
            log.failure("Unknown error 112345680", powerRegister);
        time += 2000;
    }
    log.at(time).tick();
    model.finish();

    EXPECT_EQ(home.polls, 7U);
    EXPECT_EQ(home.pollLengths.quantile(1), 2000);
    ASSERT_EQ(home.meters.size(), 1U);
    const auto& [kind, failure] = *home.meters[0].failures.begin();
    EXPECT_EQ(kind.kind, "illegal-address");
    EXPECT_EQ(failure.seen.count, 5U);
    EXPECT_EQ(failure.longestRun, 3U);
    EXPECT_EQ(home.meters[0].goodPolls, 2U);
}

TEST_F(HomeModelTest, countsARestartAndItsTime) {
    log.tick().at(60000).process(413).line("NOTIC modbusreaderMain",
                                           "Starting modbus Reader main.cpp:74");
    EXPECT_EQ(home.processes, 2U);
    EXPECT_EQ(home.restarts.count, 1U);
    EXPECT_EQ(home.restarts.first, start + 60000);
    EXPECT_EQ(home.starts.count, 1U);
    EXPECT_EQ(home.mixed, 0U);
}

TEST_F(HomeModelTest, tellsTwoDaemonsInOneLogFromARestart) {
    for (int i = 0; i < 3; ++i)
        log.process(412).tick().process(413).tick();

    EXPECT_EQ(home.processes, 2U);
    EXPECT_EQ(home.mixed, 4U);
}

TEST_F(HomeModelTest, tellsGapsAndTimesThatJumpBack) {
    log.message(1, -1000).at(2000).message(1, 1000).at(400000).message(1, 399000);
    log.at(100000).message(1, 99000);

    EXPECT_EQ(home.gaps, 1U);
    ASSERT_EQ(home.firstGaps.size(), 1U);
    EXPECT_EQ(home.firstGaps[0].from, start + 2000);
    EXPECT_EQ(home.firstGaps[0].to, start + 400000);
    EXPECT_EQ(home.timeJumps.count, 1U);
}

TEST_F(HomeModelTest, countsAMessageThatTheServiceTookInPartAsLost) {
    log.message(1, -1000).line(
        "NOTIC modbusreaderSocketWriter",
        "TRANSFERRED  self->m_buffer.size():155 size:9 socket-writer.cpp:47");
    EXPECT_EQ(home.delivered, 1U);
    EXPECT_EQ(home.lost, 1U);
}

TEST_F(HomeModelTest, knowsNotWhoseMessageWasLostWhereNoReadingShows) {
    log.message(1, -1000);
    log.line("WARN  modbusreaderSocketWriter",
             "Could not connect ec:Connection refused self->m_endpoint.path():/run/x "
             "socket-writer.cpp:36");

    EXPECT_EQ(home.lost, 1U);
    EXPECT_EQ(home.meters[0].lost, std::nullopt);
    ASSERT_EQ(home.troubles.size(), 1U);
    EXPECT_EQ(home.troubles.begin()->first.key, "no-service");
    EXPECT_EQ(home.troubles.begin()->first.reason, "refused");
}

TEST_F(HomeModelTest, knowsWhoseMessageWasLostWhereReadingsShow) {
    log.tick().begin(7);
    log.serial("Reading aReading:{\"id\":S-7,\"slaveAddress\":7,\"meteringType\":modbus,"
               "\"lastChanged\":2026-11-14T03:24:09.000Z}");
    log.line("WARN  modbusreaderSocketWriter",
             "Could not connect ec:Connection refused self->m_endpoint.path():/run/x "
             "socket-writer.cpp:36");
    EXPECT_EQ(home.meters[0].lost, 1U);
}

TEST_F(HomeModelTest, takesNothingFromACutLineButItsTime) {
    log.plain("[2026-11-14T03:24:09.123+01:00]   412 WARN  modbusSerial Could not read register "
              "strerror((*__errno_location ())):Conn");
    model.finish();

    EXPECT_EQ(home.first, start + 123);
    EXPECT_TRUE(home.unattributed.empty());
}

TEST_F(HomeModelTest, countsAFailedAssertionAndAnExceptionThatNothingCaught) {
    log.tick();
    log.plain("Assertion failed.  condition:x a.cpp:1  void f()");
    log.plain("terminate called after throwing an instance of 'std::bad_alloc'");

    EXPECT_EQ(home.assertions.count, 1U);
    EXPECT_EQ(home.assertions.last, start);
    EXPECT_EQ(home.terminations.count, 1U);
}

TEST_F(HomeModelTest, seesACounterRunBackwardsJumpAndStandStill) {
    const auto energies = [](double imported, double exported) {
        return ",\"powerConsumed\":5000.0,\"energyConsumed\":" + std::to_string(imported * 3.6e6) +
               ",\"energyProduced\":" + std::to_string(exported * 3.6e6);
    };
    Moment time = 0;
    double imported = 1000;
    const auto poll = [&](double exported) {
        log.at(time).message(1, time - 1000, energies(imported, exported));
        time += 10000;
    };
    for (int i = 0; i < 10; ++i, imported += 0.014)
        poll(2000);
    imported = 990;
    poll(2000);
    imported = 1700;
    poll(2000);
    for (int i = 0; i < 1000; ++i)
        poll(2000);
    model.finish();

    const Counter& consumed = home.meters[0].counters[0];
    EXPECT_EQ(consumed.backwards.count, 1U);
    EXPECT_NEAR(consumed.backwardsTo, 990 * 3.6e6, 1);
    EXPECT_EQ(consumed.jumps.count, 1U);
    EXPECT_NEAR(consumed.jumpTo, 1700 * 3.6e6, 1);
    EXPECT_EQ(consumed.still.count, 1U);
    EXPECT_EQ(consumed.still.first, start + 11 * 10000 - 1000);
    EXPECT_EQ(home.meters[0].counters[1].still.count, 0U);
}

TEST_F(HomeModelTest, seesValuesThatStandAtTheNextRegisterAfterATimeOut) {
    const auto value = [&](double number, const std::string& field) {
        log.serial("value:" + std::to_string(number) + " modbusFieldType:" + field +
                   " scaleValue:1");
    };
    const auto read = [&](double power, double imported, double exported) {
        log.tick().begin(7);
        value(power, "powerImport");
        value(imported, "energyImport");
        value(exported, "energyExport");
        log.serial("Reading aReading:{\"id\":S-7,\"slaveAddress\":7,\"meteringType\":modbus,"
                   "\"lastChanged\":2026-11-14T03:24:09.000Z}");
    };
    read(710, 12345, 2345);
    read(4321, 710, 12345);
    EXPECT_EQ(home.meters[0].shifted.count, 0U);
    read(710, 12345, 2345);
    log.failure(timedOut, powerRegister);
    read(2345, 710, 12345);

    EXPECT_EQ(home.meters[0].shifted.count, 1U);
}

TEST_F(HomeModelTest, takesNamesFromTheListOfAttachedMeters) {
    log.serial(
        R"(Attached Meters result:{"data":[{"configId":"m","name":"Roof","slaveAddress":7}]})");
    log.tick();

    ASSERT_EQ(home.meters.size(), 1U);
    EXPECT_EQ(home.meters[0].name, "Roof");
    EXPECT_EQ(home.meters[0].configId, "m");
    EXPECT_EQ(home.meters[0].slaveAddress, 7);
    EXPECT_TRUE(home.meters[0].isAttached);
}

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
    EXPECT_FALSE(readingOf(R"({"slaveAddress":7,"lastChanged":"2026"})"));
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
