#include "metering/readings.h"

#include "support/counts-in-comparison.h"
#include "support/thrown-text.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <limits>

using orv::metering::readings::MeterId;
using orv::metering::readings::ModbusMeteringSystem;

namespace {

std::string message(const ModbusMeteringSystem& reading) {
    return vx::toJson(vx::toJsonFragment(reading));
}

ModbusMeteringSystem typical() {
    ModbusMeteringSystem reading;
    reading.id = MeterId("40000123");
    reading.slaveAddress = 1;
    reading.meteringType = "modbus";
    reading.lastChanged = vx::toDateTime(std::string("2026-11-14T03:24:08.123Z"));
    reading.powerConsumed = 1500.5;
    reading.energyConsumed = 12345.25;
    return reading;
}

/// All powers and energies in declared order.
constexpr double ModbusMeteringSystem::*values[] = {
    &ModbusMeteringSystem::powerConsumed,    &ModbusMeteringSystem::powerProduced,
    &ModbusMeteringSystem::energyConsumed,   &ModbusMeteringSystem::energyProduced,
    &ModbusMeteringSystem::t1EnergyConsumed, &ModbusMeteringSystem::t1EnergyProduced,
    &ModbusMeteringSystem::t2EnergyConsumed, &ModbusMeteringSystem::t2EnergyProduced,
    &ModbusMeteringSystem::t3EnergyConsumed, &ModbusMeteringSystem::t3EnergyProduced,
    &ModbusMeteringSystem::t4EnergyConsumed, &ModbusMeteringSystem::t4EnergyProduced,
    &ModbusMeteringSystem::t5EnergyConsumed, &ModbusMeteringSystem::t5EnergyProduced,
    &ModbusMeteringSystem::t6EnergyConsumed, &ModbusMeteringSystem::t6EnergyProduced,
};

constexpr const char* typicalMessage =
    R"({"id":"40000123","slaveAddress":1,"meteringType":"modbus",)"
    R"("lastChanged":"2026-11-14T03:24:08.123Z","powerConsumed":1500.5,"energyConsumed":12345.25})";

} // namespace

TEST(Message, ofATypicalReading) {
    EXPECT_EQ(message(typical()), typicalMessage);
}

TEST(Message, ofAllDefaultsIsAnEmptyObject) {
    EXPECT_EQ(message(ModbusMeteringSystem()), "{}");
}

TEST(Message, holdsAllKeysInDeclaredOrder) {
    ModbusMeteringSystem reading = typical();
    reading.tariffEnabled = true;
    double value = 1.0;
    for (double ModbusMeteringSystem::*member : values)
        reading.*member = value++;

    EXPECT_EQ(message(reading),
              R"({"id":"40000123","slaveAddress":1,"meteringType":"modbus",)"
              R"("lastChanged":"2026-11-14T03:24:08.123Z","tariffEnabled":true,)"
              R"("powerConsumed":1.0,"powerProduced":2.0,"energyConsumed":3.0,)"
              R"("energyProduced":4.0,"t1EnergyConsumed":5.0,"t1EnergyProduced":6.0,)"
              R"("t2EnergyConsumed":7.0,"t2EnergyProduced":8.0,"t3EnergyConsumed":9.0,)"
              R"("t3EnergyProduced":10.0,"t4EnergyConsumed":11.0,"t4EnergyProduced":12.0,)"
              R"("t5EnergyConsumed":13.0,"t5EnergyProduced":14.0,"t6EnergyConsumed":15.0,)"
              R"("t6EnergyProduced":16.0})");
}

TEST(Message, leavesOutTariffEnabledFalseAndSlaveAddressZero) {
    ModbusMeteringSystem reading = typical();
    reading.slaveAddress = 0;
    reading.tariffEnabled = false;

    EXPECT_EQ(message(reading).find("slaveAddress"), std::string::npos);
    EXPECT_EQ(message(reading).find("tariffEnabled"), std::string::npos);
}

TEST(Message, leavesOutNoMomentBehindTheEpoch) {
    ModbusMeteringSystem reading;
    reading.lastChanged += std::chrono::nanoseconds(1);

    EXPECT_EQ(message(reading), R"({"lastChanged":"1970-01-01T00:00:00.000Z"})");
}

TEST(Message, leavesOutAPowerOfZeroWhileNanAndInfinityStandAsNull) {
    ModbusMeteringSystem reading;
    reading.powerConsumed = -0.0;
    EXPECT_EQ(message(reading), "{}");
    reading.powerConsumed = std::numeric_limits<double>::quiet_NaN();
    reading.powerProduced = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(message(reading), R"({"powerConsumed":null,"powerProduced":null})");
}

TEST(Message, holdsAllDigitsOfAValue) {
    ModbusMeteringSystem reading;
    reading.powerConsumed = 0.1F;
    reading.powerProduced = 1.0 / 3;
    reading.energyConsumed = 123456789.123456789;

    EXPECT_EQ(message(reading),
              R"({"powerConsumed":0.10000000149011612,"powerProduced":0.33333333333333331,)"
              R"("energyConsumed":123456789.12345679})");
}

TEST(Message, readsBackTheSame) {
    EXPECT_EQ(vx::fromJson<ModbusMeteringSystem>(typicalMessage), typical());
    EXPECT_EQ(vx::fromJson<ModbusMeteringSystem>("null"), ModbusMeteringSystem());
}

TEST(Message, readingBackASlaveAddressOf256Throws) {
    EXPECT_EQ(thrownText([] { vx::fromJson<ModbusMeteringSystem>(R"({"slaveAddress":256})"); }),
              "Narrowing error. t:0 u:256 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) "
              "vx/record.h:<line> / slaveAddress");
}

TEST(Message, readingBackAnAbsentSlaveAddressGivesZero) {
    EXPECT_EQ(vx::fromJson<ModbusMeteringSystem>("{}").slaveAddress, 0);
}

TEST(Message, readingBackAcceptsNumbersAsStringsAndRefusesOtherTypes) {
    EXPECT_EQ(vx::fromJson<ModbusMeteringSystem>(R"({"slaveAddress":"7"})").slaveAddress, 7);
    EXPECT_EQ(vx::fromJson<ModbusMeteringSystem>(R"({"powerConsumed":"2.5"})").powerConsumed, 2.5);
    EXPECT_EQ(thrownText([] { vx::fromJson<ModbusMeteringSystem>("[]"); }),
              "Expecting json object. jsonType:5 condition:jsonType == json_type_object "
              "vx/record.h:<line>");
    EXPECT_EQ(thrownText([] { vx::fromJson<ModbusMeteringSystem>(R"({"id":7})"); }),
              "Expecting json string type:3 condition:type == json_type_string "
              "vx/record.h:<line> / id");
    EXPECT_EQ(thrownText([] { vx::fromJson<ModbusMeteringSystem>(R"({"tariffEnabled":1})"); }),
              "Expecting json boolen. type:3 condition:type == json_type_boolean "
              "vx/record.h:<line> / tariffEnabled");
}

TEST(Reading, differingOnlyInLastChangedIsNotEqual) {
    ModbusMeteringSystem other = typical();
    other.lastChanged += std::chrono::nanoseconds(1);

    EXPECT_TRUE(typical() == typical());
    EXPECT_TRUE(typical() != other);
}

TEST(Reading, differingInAnyOneFieldIsNotEqual) {
    using R = ModbusMeteringSystem;

    EXPECT_TRUE(countsInComparison(typical(), &R::id, MeterId("40000124")));
    EXPECT_TRUE(countsInComparison(typical(), &R::slaveAddress, 2));
    EXPECT_TRUE(countsInComparison(typical(), &R::meteringType, "modbuS"));
    EXPECT_TRUE(countsInComparison(typical(), &R::tariffEnabled, true));
    for (std::size_t i = 0; i < std::size(values); ++i)
        EXPECT_TRUE(countsInComparison(typical(), values[i], 7.0)) << "value " << i;
}

TEST(Reading, holdingANanIsUnequalToACopyOfItself) {
    ModbusMeteringSystem reading = typical();
    reading.t6EnergyProduced = std::numeric_limits<double>::quiet_NaN();
    const ModbusMeteringSystem copy = reading;

    EXPECT_FALSE(reading == copy);
}

TEST(Reading, zeroEqualsNegativeZero) {
    ModbusMeteringSystem reading = typical();
    reading.powerProduced = -0.0;

    EXPECT_TRUE(reading == typical());
}

TEST(Reading, logFormOmitsAsTheMessageDoesAndQuotesNothing) {
    EXPECT_EQ(vx::str(typical()),
              R"({"id":40000123,"slaveAddress":1,"meteringType":modbus,)"
              R"("lastChanged":2026-11-14T03:24:08.123Z,"powerConsumed":1500.5,)"
              R"("energyConsumed":12345.2})");
    EXPECT_EQ(vx::str(ModbusMeteringSystem()), "{}");
}
