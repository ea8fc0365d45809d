#include "house/reading.h"

#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

TEST(Reading, convertsWattSecondsToKilowattHours) {
    const auto reading = tryToReading(
        R"({"id":"40000123","slaveAddress":1,"meteringType":"modbus",)"
        R"("lastChanged":"1970-01-02T00:00:01.500Z","tariffEnabled":true,"powerConsumed":1500.5,)"
        R"("energyConsumed":3600000.0,"t6EnergyProduced":7200000.0})");

    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->id, "40000123");
    EXPECT_EQ(reading->slaveAddress, 1);
    EXPECT_EQ(reading->readBegan.time_since_epoch(), 24h + 1500ms);
    EXPECT_TRUE(reading->tariffEnabled);
    EXPECT_EQ(reading->powerIn, 1500.5);
    EXPECT_EQ(reading->powerOut, 0.0);
    EXPECT_EQ(reading->energyIn, 1.0);
    EXPECT_EQ(reading->tariffOut[5], 2.0);
}

TEST(Reading, truncatedMessageIsNone) {
    EXPECT_FALSE(tryToReading(R"({"id":"40000123","slaveAdd)"));
    EXPECT_FALSE(tryToReading("[]"));
    EXPECT_FALSE(tryToReading(R"({"slaveAddress":1})"));
}
