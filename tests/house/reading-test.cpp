#include "house/poll-account.h"
#include "house/reading-table.h"
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

TEST(ReadingTable, showsOneRowPerMeter) {
    ReadingTable table({{"Apartment", 1}, {"Solar", 2}});
    Reading reading;
    reading.slaveAddress = 1;
    reading.readBegan = PollAccount::Time{1h};
    reading.tariffEnabled = true;
    reading.powerIn = 1500.5;
    reading.energyIn = 12.25;
    reading.tariffIn = {10.0, 2.25};
    table.update(reading);

    EXPECT_EQ(table.heading(), "meter           in W     out W      in kWh     out kWh  age s  "
                               "tariffs in/out kWh");
    EXPECT_EQ(table.rows(PollAccount::Time{1h + 1500ms}),
              (std::vector<std::string>{
                  "Apartment     1500.5       0.0       12.25        0.00    1.5  "
                  "T1 10.0/0.0  T2 2.2/0.0",
                  "Solar              -         -           -           -      -  -"}));
}
