#include "inspector/home/shift-check.h"

#include <gtest/gtest.h>

#include <array>

using namespace inspector;

namespace {

class ShiftCheckTest : public testing::Test {
protected:
    /// Reads the values of a meter's registers; whether they are told for shifted.
    bool read(const std::vector<double>& values, int slaveAddress = 7) {
        constexpr std::array fields = {"powerImport", "energyImport", "energyExport"};
        m_check.begin(slaveAddress);
        for (std::size_t i = 0; i < values.size(); ++i)
            m_check.take(values[i], fields[i]);
        return m_check.end();
    }
    /// A read of which the one register fails.
    void timeOut(int slaveAddress = 7) {
        m_check.begin(slaveAddress);
        m_check.fail(true);
        EXPECT_FALSE(m_check.end());
    }

private:
    ShiftCheck m_check;
};

} // namespace

TEST_F(ShiftCheckTest, tellsThatTwoRegistersAreExchanged) {
    EXPECT_FALSE(read({710, 12345}));
    EXPECT_FALSE(read({820, 12345}));
    timeOut();
    EXPECT_TRUE(read({12345, 930}));
    EXPECT_TRUE(read({12346, 0}));
    EXPECT_FALSE(read({640, 12346}));
}

TEST_F(ShiftCheckTest, tellsThatTheFirstValueIsTheLastOne) {
    EXPECT_FALSE(read({710, 12345, 2345}));
    timeOut();
    EXPECT_TRUE(read({2345, 930, 12345}));
}

TEST_F(ShiftCheckTest, takesNoValueForThatOfAnotherMeter) {
    EXPECT_FALSE(read({710, 12345}));
    timeOut(7);
    timeOut(8);
    EXPECT_FALSE(read({12345, 930}));
}

TEST_F(ShiftCheckTest, tellsNothingOfValuesThatAreAlikeByChance) {
    const std::vector<std::vector<double>> before = {
        {710, 12345}, {0, 0}, {5, 5}, {0, 0.5}, {100, 100}};
    const std::vector<std::vector<double>> after = {
        {12345, 12345}, {710, 0}, {5, 900}, {0, 12}, {100, 0}};
    for (std::size_t i = 0; i < before.size(); ++i) {
        const int slaveAddress = static_cast<int>(i);
        EXPECT_FALSE(read(before[i], slaveAddress));
        EXPECT_FALSE(read(before[i], slaveAddress));
        timeOut(slaveAddress);
        EXPECT_FALSE(read(after[i], slaveAddress)) << i;
    }
}
