#include "base.h"

#include <gtest/gtest.h>

#include <limits>

TEST(IntToString, isDecimalOrHexadecimalWithItsPrefix) {
    EXPECT_EQ(orv::intToString(255, false), "255");
    EXPECT_EQ(orv::intToString(-1, false), "-1");
    EXPECT_EQ(orv::intToString(255, true), "0xff");
    EXPECT_EQ(orv::intToString(-1, true), "0xffffffffffffffff");
    EXPECT_EQ(orv::intToString(std::numeric_limits<long long>::min(), false),
              "-9223372036854775808");
}
