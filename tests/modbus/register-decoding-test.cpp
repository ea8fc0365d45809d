#include "modbus/register-words.h"
#include "modbus/serial-toolkit.h"
#include "support/log-capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

using orv::metering::readings::MeterId;
using orv::modbusreader::dataCountMultiplier;
using orv::modbusreader::decodeRegister;
using orv::modbusreader::ModbusMeteringSystem;
using testing::IsEmpty;
using testing::SizeIs;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

namespace {

using T = ModbusDataType;
using F = ModbusFieldType;
using R = ModbusMeteringSystem;

constexpr T allDataTypes[] = {T::none,   T::int16,   T::uint16, T::int32,  T::uint32,  T::int64,
                              T::uint64, T::float32, T::ascii,  T::bitmap, T::dateTime};

/// Decodes one read into @p reading, and gives the log lines.
std::vector<std::string> decode(ModbusMeteringSystem& reading, T type, F fieldType,
                                const std::vector<std::uint16_t>& words, std::uint8_t length = 1) {
    LogCapture log;
    std::array<std::uint16_t, 255> buffer{};
    std::copy(words.begin(), words.end(), buffer.begin());
    decodeRegister(
        reading, buffer.data(),
        ModbusRegister{.fieldType = fieldType, .modbusDataType = type, .length = length});
    return log.take();
}

ModbusMeteringSystem decoded(T type, F fieldType, const std::vector<std::uint16_t>& words,
                             std::uint8_t length = 1) {
    ModbusMeteringSystem reading;
    decode(reading, type, fieldType, words, length);
    return reading;
}

/// The number of a register, read as an export, which keeps value and sign.
double number(T type, const std::vector<std::uint16_t>& words) {
    return decoded(type, F::powerExport, words).powerProduced;
}

std::string serialOf(T type, const std::vector<std::uint16_t>& words, std::uint8_t length = 1) {
    return decoded(type, F::serial, words, length).id.text();
}

} // namespace

TEST(DataCountMultiplier, countsTheWordsOfOneElement) {
    const std::vector<std::pair<T, int>> words = {{T::none, 1},   {T::int16, 1},   {T::uint16, 1},
                                                  {T::int32, 2},  {T::uint32, 2},  {T::int64, 4},
                                                  {T::uint64, 4}, {T::float32, 2}, {T::ascii, 1},
                                                  {T::bitmap, 1}, {T::dateTime, 2}};

    for (const auto& [type, count] : words)
        EXPECT_EQ(dataCountMultiplier(type), count) << vx::str(type);
}

TEST(DecodeRegister, float32HasItsFirstWordMostSignificant) {
    EXPECT_EQ(number(T::float32, {0x4148, 0x0000}), 12.5);
    EXPECT_EQ(number(T::float32, {0xC148, 0x0000}), -12.5);
}

TEST(DecodeRegister, float32NotANumberAsPowerImportIsStoredAsProduction) {
    const R reading = decoded(T::float32, F::powerImport, {0x7FC0, 0x0000});

    EXPECT_TRUE(std::isnan(reading.powerProduced));
    EXPECT_EQ(reading.powerConsumed, 0.0);
}

TEST(DecodeRegister, int64TakesFourWordsWithASign) {
    EXPECT_EQ(number(T::int64, {0x0000, 0x0001, 0x0000, 0x0000}), 4294967296.0);
    EXPECT_EQ(number(T::int64, {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFE}), -2.0);
}

TEST(DecodeRegister, uint64TakesFourWordsWithoutASign) {
    EXPECT_EQ(number(T::uint64, {0x8000, 0x0000, 0x0000, 0x0000}), 9223372036854775808.0);
    EXPECT_EQ(number(T::uint64, {0x0001, 0x0000, 0x0000, 0x0000}), 281474976710656.0);
}

TEST(DecodeRegister, uint32TakesTwoWordsWithoutASign) {
    EXPECT_EQ(number(T::uint32, {0x0001, 0x0002}), 65538.0);
    EXPECT_EQ(number(T::uint32, {0x8000, 0x0000}), 2147483648.0);
}

TEST(DecodeRegister, int32TakesTwoWordsWithASign) {
    EXPECT_EQ(number(T::int32, {0x0001, 0x0002}), 65538.0);
    EXPECT_EQ(number(T::int32, {0xFFFF, 0xFFFE}), -2.0);
}

TEST(DecodeRegister, uint16TakesOneWord) {
    EXPECT_EQ(number(T::uint16, {0xFFFE, 0x1234}), 65534.0);
}

TEST(DecodeRegister, uint32FourBillionStaysPositiveWhileInt32OfItIsProduction) {
    EXPECT_EQ(decoded(T::uint32, F::powerImport, {0xEE6B, 0x2800}),
              (R{.powerConsumed = 4000000000.0}));
    EXPECT_EQ(decoded(T::int32, F::powerImport, {0xEE6B, 0x2800}),
              (R{.powerProduced = 294967296.0}));
}

TEST(DecodeRegister, largeCountersLoseTheirLowDigitsInSinglePrecision) {
    EXPECT_EQ(number(T::uint32, {0x0100, 0x0001}), 16777216.0);
    EXPECT_EQ(number(T::uint64, {0x0000, 0x0000, 0x0100, 0x0003}), 16777220.0);
}

TEST(DecodeRegister, sixtyFourBitsAreConvertedToFloatInOneStep) {
    // By way of double precision this would round twice and end at 2^60.
    for (const T type : {T::int64, T::uint64})
        EXPECT_EQ(number(type, {0x1000, 0x0010, 0x0000, 0x0001}), 1152921642045800448.0)
            << vx::str(type);
}

TEST(DecodeRegister, decodesOneValueFromTheFirstWordsWhateverTheLength) {
    EXPECT_EQ(decoded(T::uint16, F::powerExport, {7, 8, 9}, 3), (R{.powerProduced = 7.0}));
    EXPECT_EQ(decoded(T::uint32, F::powerExport, {0, 7, 0, 8}, 2), (R{.powerProduced = 7.0}));
}

TEST(DecodeRegister, uint32SerialIsPrintedInDecimal) {
    EXPECT_EQ(serialOf(T::uint32, {0xEE6B, 0x2800}), "4000000000");
    EXPECT_EQ(serialOf(T::uint32, {0, 0}), "0");
}

TEST(DecodeRegister, asciiSerialTakesHighByteThenLowByteWithoutZeros) {
    EXPECT_EQ(serialOf(T::ascii, {0x4142, 0x0043, 0x4400}, 3), "ABCD");
}

TEST(DecodeRegister, asciiTakesLengthWordsAndNoMore) {
    EXPECT_EQ(serialOf(T::ascii, {0x4142, 0x4344, 0x4546}, 2), "ABCD");
}

TEST(DecodeRegister, asciiKeepsBlanksAndBytesThatAreNoText) {
    EXPECT_EQ(serialOf(T::ascii, {0x2041, 0xFF20}, 2), " A\xFF ");
}

TEST(DecodeRegister, asciiSerialOfZerosLeavesAnEmptyId) {
    ModbusMeteringSystem reading{.id = MeterId("earlier")};

    decode(reading, T::ascii, F::serial, {0, 0}, 2);

    EXPECT_TRUE(reading.id.empty());
}

TEST(DecodeRegister, asciiOfAnotherFieldIsDropped) {
    for (const F fieldType : {F::model, F::manufacturer, F::powerImport, F::tariffEnabled})
        EXPECT_EQ(decoded(T::ascii, fieldType, {0x4142}), R()) << vx::str(fieldType);
}

TEST(DecodeRegister, tariffEnabledTakesEffectFromUint16Alone) {
    for (const T type : allDataTypes) {
        const bool enabled = decoded(type, F::tariffEnabled, {1, 1, 1, 1}).tariffEnabled;
        EXPECT_EQ(enabled, type == T::uint16) << vx::str(type);
    }
}

TEST(DecodeRegister, typesWithoutADecoderHaveNoEffectAndNoLog) {
    for (const T type : {T::none, T::int16, T::bitmap, T::dateTime, T::ascii}) {
        ModbusMeteringSystem reading;
        EXPECT_THAT(decode(reading, type, F::powerImport, {1, 1, 1, 1}), IsEmpty());
        EXPECT_EQ(reading, R()) << vx::str(type);
    }
}

TEST(DecodeRegister, numericTypesConvertFields1To16Alone) {
    for (const T type : {T::float32, T::int64, T::uint64, T::uint32, T::int32})
        for (int fieldType = 0; fieldType <= 21; ++fieldType) {
            ModbusMeteringSystem reading;
            const bool accepted = fieldType >= 1 && fieldType <= 16;
            EXPECT_THAT(decode(reading, type, static_cast<F>(fieldType), {1, 1, 1, 1}),
                        SizeIs(accepted ? 1 : 0))
                << vx::str(type, " ", static_cast<F>(fieldType));
        }
}

TEST(DecodeRegister, uint16ReachesTheConversionForFields1To21) {
    for (int fieldType = 1; fieldType <= 21; ++fieldType) {
        ModbusMeteringSystem reading;
        EXPECT_THAT(decode(reading, T::uint16, static_cast<F>(fieldType), {1}), SizeIs(1))
            << vx::str(static_cast<F>(fieldType));
    }
}

TEST(DecodeRegister, uint16OfAFieldNumberOutside1To21HasNoEffectAndNoLog) {
    for (const int fieldType : {-1, 0, 22, 1000}) {
        ModbusMeteringSystem reading;
        EXPECT_THAT(decode(reading, T::uint16, static_cast<F>(fieldType), {1}), IsEmpty())
            << fieldType;
        EXPECT_EQ(reading, R()) << fieldType;
    }
}

TEST(DecodeRegister, uint16SerialGivesNoId) {
    EXPECT_EQ(serialOf(T::uint16, {1234}), "");
}
