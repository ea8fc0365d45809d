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
constexpr std::size_t manyLines = 100;

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

TEST(ReadingTable, linesHaveTheTariffsBelowTheirMeter) {
    const ReadingTable table = tableOf({{"Apartment", 1}, {"Solar", 2}});

    EXPECT_EQ(table.lines(79, manyLines, now),
              (Lines{"meter           in W     out W      in kWh     out kWh  age s",
                     "Apartment     1500.5       0.0       12.25        0.00    1.5",
                     "  in/out kWh  T1 10.0/0.0  T2 2.2/0.0",
                     "Solar              -         -           -           -      -"}));
}

TEST(ReadingTable, sixTariffsTakeTwoLinesOf80Columns) {
    ReadingTable table({{"Battery", 4}});
    Reading reading;
    reading.slaveAddress = 4;
    reading.readBegan = now;
    reading.tariffEnabled = true;
    reading.tariffIn = {5210.2, 5210.2, 5210.2, 5210.2, 5210.2, 5210.2};
    reading.tariffOut = {120.0, 90.0, 24.0, 30.0, 420.0, 450.0};
    table.update(reading);

    EXPECT_EQ(
        table.lines(79, manyLines, now),
        (Lines{"meter           in W     out W      in kWh     out kWh  age s",
               "Battery          0.0       0.0        0.00        0.00    0.0",
               "  in/out kWh  T1 5210.2/120.0  T2 5210.2/90.0  T3 5210.2/24.0  T4 5210.2/30.0",
               "              T5 5210.2/420.0  T6 5210.2/450.0"}));
}

TEST(ReadingTable, aNameIsCutWhereTheLineHasNoRoom) {
    const ReadingTable table = tableOf({{"Büro über der Werkstatt", 1}});

    EXPECT_EQ(table.lines(59, 2, now),
              (Lines{"meter         in W     out W      in kWh     out kWh  age s",
                     "Büro üb~    1500.5       0.0       12.25        0.00    1.5"}));
}

TEST(ReadingTable, noLineIsLongerThanTheTerminal) {
    const ReadingTable table = tableOf({{"Apartment", 1}});

    for (const std::string& line : table.lines(30, manyLines, now))
        EXPECT_LE(line.size(), 30U) << line;
}

TEST(ReadingTable, tariffsAreLeftOutWhereTheLinesDoNotSuffice) {
    const ReadingTable table = tableOf({{"Apartment", 1}, {"Solar", 2}});

    EXPECT_EQ(table.lines(79, 3, now),
              (Lines{"meter           in W     out W      in kWh     out kWh  age s",
                     "Apartment     1500.5       0.0       12.25        0.00    1.5",
                     "Solar              -         -           -           -      -"}));
}

TEST(ReadingTable, countsTheMetersForWhichThereIsNoLine) {
    const ReadingTable table = tableOf({{"Apartment", 1}, {"Solar", 2}, {"Wallbox", 3}});

    EXPECT_EQ(table.lines(79, 3, now),
              (Lines{"meter           in W     out W      in kWh     out kWh  age s",
                     "Apartment     1500.5       0.0       12.25        0.00    1.5",
                     "and 2 more meters"}));
}
