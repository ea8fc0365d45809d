#include "written-log.h"

using namespace inspector;
using vxModel::ModbusFieldType;

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

TEST_F(HomeModelTest, countsAMessageThatTheServiceTookInPartAsLost) {
    log.message(1, -1000).line(
        "NOTIC modbusreaderSocketWriter",
        "TRANSFERRED  self->m_buffer.size():155 size:9 socket-writer.cpp:47");
    EXPECT_EQ(home.delivered, 1U);
    EXPECT_EQ(home.lost, 1U);
}

TEST_F(HomeModelTest, knowsNotWhoseMessageWasLostWhereNoReadingShows) {
    log.message(1, -1000);
    log.unconnected();

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
    log.unconnected();
    EXPECT_EQ(home.meters[0].lost, 1U);
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
    EXPECT_EQ(consumed.still.first, start + Moment{11} * 10000 - 1000);
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
    // What meters show alike long after a time-out has nothing to do with it.
    read(710, 12345, 2345);
    read(2345, 710, 12345);
    EXPECT_EQ(home.meters[0].shifted.count, 1U);
}

TEST_F(HomeModelTest, knowsAMeterAtAddressZero) {
    log.serial(R"(Attached Meters result:{"data":[{"name":"Roof"}]})").serial("Cycling meters");
    const std::string text = R"({"id":"S-0","meteringType":"modbus","lastChanged":")";
    log.written(text + utc(start) + "\"}").at(2000).written(text + utc(start + 1000) + "\"}");
    model.finish();

    ASSERT_EQ(home.meters.size(), 1U);
    EXPECT_EQ(home.meters[0].name, "Roof");
    EXPECT_EQ(home.meters[0].id, "S-0");
    EXPECT_EQ(home.meters[0].last->time, start + 1000);
}

TEST_F(HomeModelTest, takesNamesFromTheListOfAttachedMeters) {
    log.serial(
        R"(Attached Meters result:{"data":[{"configId":"m","name":"Roof","slaveAddress":7}]})");
    log.serial("Supported Meters result:{}");

    ASSERT_EQ(home.meters.size(), 1U);
    EXPECT_EQ(home.meters[0].name, "Roof");
    EXPECT_EQ(home.meters[0].configId, "m");
    EXPECT_EQ(home.meters[0].slaveAddress, 7);
    EXPECT_TRUE(home.meters[0].isAttached);
}

TEST_F(HomeModelTest, keepsTheListOfAttachedMetersWhereTheServerRefusesToGiveIt) {
    const std::string list = R"({"data":[{"name":"Roof","slaveAddress":7}]})";
    log.serial("Attached Meters result:" + list).serial("Supported Meters result:{}");
    const std::string error = R"({"error":"busy"})";
    log.serial("Attached Meters result:" + error);
    log.line("WARN  modbusSerial",
             "Error requesting from server code:503 result:" + error + " toolkit.cpp:260");

    EXPECT_EQ(home.attachedReply, list);
    EXPECT_TRUE(home.meters[0].isAttached);
    log.serial("Attached Meters result:{}").serial("Supported Meters result:{}");
    EXPECT_FALSE(home.meters[0].isAttached);
}

TEST_F(HomeModelTest, takesTheListOfAttachedMetersThoughTheModelsAreRefused) {
    log.serial(R"(Attached Meters result:{"data":[{"name":"Roof","slaveAddress":7}]})");
    log.line("WARN  modbusSerial",
             "Error requesting from server code:404 result:none toolkit.cpp:270");

    ASSERT_EQ(home.meters.size(), 1U);
    EXPECT_TRUE(home.meters[0].isAttached);
}

TEST_F(HomeModelTest, keepsOfALongNameItsBegin) {
    const std::string name(100000, 'x');
    log.serial(R"(Attached Meters result:{"data":[{"configId":")" + name + R"(","name":")" + name +
               R"(","serial":")" + name + R"(","slaveAddress":7}]})");
    log.serial("Supported Meters result:{}").message(8, 0, "", name);
    log.tick();

    ASSERT_EQ(home.meters.size(), 2U);
    for (const std::string& kept : {home.meters[0].id, home.meters[0].name, home.meters[0].configId,
                                    home.meters[1].id, home.meters[1].last->id})
        EXPECT_EQ(kept.size(), longestName);
}
