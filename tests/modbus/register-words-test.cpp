#include "modbus/register-words.h"

#include <gtest/gtest.h>

#include <string>

using orv::modbusreader::RegisterBuffer;
using orv::modbusreader::wordsText;

namespace {

std::string repeated(int times, const std::string& text) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

} // namespace

TEST(WordsText, ofAnUnusedBufferIs255Zeros) {
    EXPECT_EQ(wordsText(RegisterBuffer{}, 0), repeated(255, " 0"));
}

TEST(WordsText, usedWordsAreFollowedByZeros) {
    const RegisterBuffer buffer{1, 65535, 0, 10};

    EXPECT_EQ(wordsText(buffer, 4), " 1 65535 0 10" + repeated(251, " 0"));
}

TEST(WordsText, takesABufferOfNothingButLongestWords) {
    RegisterBuffer buffer;
    buffer.fill(65535);

    EXPECT_EQ(wordsText(buffer, 255), repeated(255, " 65535"));
}

TEST(WordsText, neverLooksBehindTheBuffer) {
    EXPECT_EQ(wordsText(RegisterBuffer{1}, 1020), " 1" + repeated(254, " 0"));
}
