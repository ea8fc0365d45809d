#include "vx/text-stream.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <limits>
#include <new>
#include <random>
#include <sstream>
#include <string>

using vx::detail::TextStream;
using vx::detail::writeDouble;
using vx::detail::writeInteger;
using vx::detail::writeText;

namespace {

std::string integerText(auto value) {
    TextStream stream;
    writeInteger(stream, value);
    return stream.take();
}

std::string doubleText(double value) {
    TextStream stream;
    writeDouble(stream, value);
    return stream.take();
}

std::string standardText(double value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

} // namespace

TEST(TextStream, withoutAnythingWrittenIsEmpty) {
    EXPECT_EQ(TextStream().take(), "");
}

TEST(TextStream, isAStreamLikeAnyOther) {
    TextStream stream;

    stream << "mode " << std::hex << 255 << ' ' << true << ' ' << 0.1;

    EXPECT_EQ(stream.take(), "mode ff 1 0.1");
}

TEST(TextStream, keepsTextsOfAnySizeWhereverOnePieceEnds) {
    // Sizes around the room that a stream has in place, and around twice that.
    for (const std::size_t size : {495U, 496U, 497U, 991U, 992U, 993U, 5000U})
        for (const std::size_t piece : {1U, 7U, 495U, 496U, 497U, 5000U}) {
            std::string expected;
            for (std::size_t i = 0; i < size; ++i)
                expected += static_cast<char>('a' + i % 26);
            TextStream stream;

            for (std::size_t i = 0; i < size; i += piece)
                writeText(stream, std::string_view(expected).substr(i, piece));

            EXPECT_EQ(stream.take(), expected) << "in pieces of " << piece;
        }
}

TEST(TextStream, keepsSingleCharactersOfAnyNumber) {
    const std::string expected(2000, 'x');
    TextStream stream;

    for (const char c : expected)
        stream.put(c);

    EXPECT_EQ(stream.take(), expected);
}

TEST(TextStream, tellsEachCharacterThatItTook) {
    TextStream stream;

    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(stream.rdbuf()->sputc('x'), 'x') << i;
}

TEST(TextStream, keepsTheOrderOfCharactersAndTexts) {
    std::string expected;
    TextStream stream;

    for (int i = 0; i < 300; ++i) {
        stream.put('x');
        stream << i;
        writeText(stream, "text");
        expected += "x" + std::to_string(i) + "text";
    }

    EXPECT_EQ(stream.take(), expected);
}

TEST(TextStream, keepsZeroBytes) {
    TextStream stream;

    writeText(stream, std::string_view("a\0b", 3));

    EXPECT_EQ(stream.take(), std::string("a\0b", 3));
}

TEST(WriteText, leavesAFailedStreamAlone) {
    TextStream stream;
    writeText(stream, "before");
    stream.setstate(std::ios::failbit);

    writeText(stream, "after");
    writeInteger(stream, 1);
    writeDouble(stream, 1.0);

    EXPECT_EQ(stream.take(), "before");
}

TEST(WriteText, failsTheStreamIfItsBufferTakesNoMore) {
    std::ofstream stream("/dev/full");
    const std::string text(100000, 'x');

    writeText(stream, text);

    EXPECT_TRUE(stream.bad());
}

TEST(WriteInteger, writesTheLimitsOfEachType) {
    EXPECT_EQ(integerText(std::numeric_limits<signed char>::min()), "-128");
    EXPECT_EQ(integerText(std::numeric_limits<unsigned char>::max()), "255");
    EXPECT_EQ(integerText(std::numeric_limits<std::int16_t>::min()), "-32768");
    EXPECT_EQ(integerText(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(integerText(std::numeric_limits<unsigned>::max()), "4294967295");
    EXPECT_EQ(integerText(std::numeric_limits<long long>::min()), "-9223372036854775808");
    EXPECT_EQ(integerText(std::numeric_limits<unsigned long long>::max()), "18446744073709551615");
    EXPECT_EQ(integerText(-1L), "-1");
    EXPECT_EQ(integerText(0UL), "0");
}

TEST(WriteText, anExceptionOfTheBufferFailsTheStream) {
    struct : std::streambuf {
        std::streamsize xsputn(const char*, std::streamsize) override { throw std::bad_alloc(); }
    } buffer;
    for (const char* text : {"text", "t"}) {
        std::ostream stream(&buffer);

        writeText(stream, text);

        EXPECT_TRUE(stream.bad()) << text;
    }
}

TEST(WriteInteger, isDecimalWhateverFormatTheStreamHas) {
    TextStream stream;
    stream << std::hex << std::showpos << std::setw(5);

    writeInteger(stream, 255);

    EXPECT_EQ(stream.take(), "255");
}

TEST(WriteDouble, hasSixSignificantDigitsWhateverPrecisionTheStreamHas) {
    TextStream stream;
    stream << std::setprecision(10) << std::fixed;

    writeDouble(stream, 3.14159265358979);

    EXPECT_EQ(stream.take(), "3.14159");
}

TEST(WriteDouble, hasSixSignificantDigits) {
    EXPECT_EQ(doubleText(0.0), "0");
    EXPECT_EQ(doubleText(-0.0), "-0");
    EXPECT_EQ(doubleText(1234567.0), "1.23457e+06");
    EXPECT_EQ(doubleText(123456.5), "123456");
    EXPECT_EQ(doubleText(0.0001), "0.0001");
    EXPECT_EQ(doubleText(0.00001), "1e-05");
    EXPECT_EQ(doubleText(-1.5e300), "-1.5e+300");
    EXPECT_EQ(doubleText(std::numeric_limits<double>::denorm_min()), "4.94066e-324");
}

TEST(WriteDouble, writesWhatIsNoFiniteNumber) {
    EXPECT_EQ(doubleText(INFINITY), "inf");
    EXPECT_EQ(doubleText(-INFINITY), "-inf");
    EXPECT_EQ(doubleText(NAN), "nan");
    EXPECT_EQ(doubleText(-NAN), "-nan");
}

TEST(WriteDouble, writesAnyNumberAsTheStandardStreamDoes) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t bits = random();
        const auto anyDouble = std::bit_cast<double>(bits);
        const auto anyFloat = static_cast<double>(std::bit_cast<float>(std::uint32_t(bits)));
        const double scaled = static_cast<double>(bits % 100000000) / 1000.0;

        EXPECT_EQ(doubleText(anyDouble), standardText(anyDouble));
        EXPECT_EQ(doubleText(anyFloat), standardText(anyFloat));
        EXPECT_EQ(doubleText(scaled), standardText(scaled));
    }
}
