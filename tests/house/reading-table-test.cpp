#include "house/reading-table.h"

#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

namespace {

/// A table with a reading of the meter 1, taken a second and a half before `now`.
ReadingTable tableOf(const std::vector<Meter>& meters) {
    ReadingTable table(meters);
    Reading reading;
    reading.slaveAddress = 1;
    reading.readBegan = ReadingTable::Time{1h};
    reading.tariffEnabled = true;
    reading.powerIn = 1500.5;
    reading.energyIn = 12.25;
    reading.tariffIn = {10.0, 2.25};
    table.update(reading);
    return table;
}

constexpr ReadingTable::Time now{1h + 1500ms};

using Lines = std::vector<std::string>;

} // namespace

TEST(ReadingTable, showsOneRowPerMeter) {
    const ReadingTable table = tableOf({{"Apartment", 1}, {"Solar", 2}});

    EXPECT_EQ(table.heading(), "meter           in W     out W      in kWh     out kWh  age s  "
                               "tariffs in/out kWh");
    EXPECT_EQ(table.rows(now),
              (Lines{"Apartment     1500.5       0.0       12.25        0.00    1.5  "
                     "T1 10.0/0.0  T2 2.2/0.0",
                     "Solar              -         -           -           -      -  -"}));
}

TEST(ReadingTable, aLongNameWidensTheRows) {
    const ReadingTable table = tableOf({{"Ground floor, left", 1}, {"Küche", 2}});

    EXPECT_EQ(table.heading(), "meter                   in W     out W      in kWh     out kWh  "
                               "age s  tariffs in/out kWh");
    EXPECT_EQ(table.rows(now),
              (Lines{"Ground floor, left    1500.5       0.0       12.25        0.00    1.5  "
                     "T1 10.0/0.0  T2 2.2/0.0",
                     "Küche                      -         -           -           -      -  -"}));
}
