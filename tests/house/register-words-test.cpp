#include "house/register-words.h"

#include <gtest/gtest.h>

using namespace house;

TEST(RegisterWords, encodesTheMostSignificantWordFirst) {
    EXPECT_EQ(encodeNumber("uint16", 1, 513.4), Words{0x0201});
    EXPECT_EQ(encodeNumber("int16", 1, -2.0), Words{0xFFFE});
    EXPECT_EQ(encodeNumber("uint32", 1, 4000000000.0), (Words{0xEE6B, 0x2800}));
    EXPECT_EQ(encodeNumber("int32", 1, -1.0), (Words{0xFFFF, 0xFFFF}));
    EXPECT_EQ(encodeNumber("uint64", 1, 65537.0), (Words{0, 0, 1, 1}));
    EXPECT_EQ(encodeNumber("int64", 1, -65536.0), (Words{0xFFFF, 0xFFFF, 0xFFFF, 0}));
    EXPECT_EQ(encodeNumber("float32", 1, 1.5), (Words{0x3FC0, 0x0000}));
}

TEST(RegisterWords, keepsToTheRangeOfTheType) {
    EXPECT_EQ(encodeNumber("uint16", 1, -5.0), Words{0});
    EXPECT_EQ(encodeNumber("uint16", 1, 70000.0), Words{0xFFFF});
    EXPECT_EQ(encodeNumber("int16", 1, -40000.0), Words{0x8000});
    EXPECT_EQ(encodeNumber("uint64", 1, 1e30), (Words{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}));
    EXPECT_EQ(encodeNumber("int64", 1, -1e30), (Words{0x8000, 0, 0, 0}));
}

TEST(RegisterWords, numberStandsInTheFirstElement) {
    EXPECT_EQ(encodeNumber("int32", 2, 7.0), (Words{0, 7, 0, 0}));
}

TEST(RegisterWords, encodesTextHighByteFirst) {
    EXPECT_EQ(encodeText(3, "ABC"), (Words{0x4142, 0x4300, 0}));
    EXPECT_EQ(encodeText(1, "ABC"), Words{0x4142});
}
