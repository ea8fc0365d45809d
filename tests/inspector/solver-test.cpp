#include "inspector/solver/candidates.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/unreadable.h"
#include "support/thrown-by.h"
#include "vx/enum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>

using namespace inspector;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

namespace {

/// The daemon's code logs what it converts.
const bool isSilent = (silenceDaemon(), true);

Ranked<Candidate> found(const std::string& display, const WordSpaces& words,
                        std::optional<ModbusFieldType> fieldType = std::nullopt) {
    return candidatesFor({{readDisplay(display), words}}, fieldType);
}

/// Parted by blanks.
template <class... T>
std::string row(const T&... items) {
    std::string text;
    ((text += (text.empty() ? "" : " ") + vx::str("", items)), ...);
    return text + "\n";
}

/// Of a number, as a complaint.
const std::string noUnit =
    " has no unit; there are W, kW, Wh, kWh and MWh. If it is a serial, say --field serial";

/// Entry by entry: address, type, scale and what the daemon reports.
std::string textOf(const Ranked<Candidate>& candidates) {
    std::string text;
    for (const Candidate& x : candidates.best)
        text += row(x.entry.address, x.entry.modbusDataType, x.entry.scaleValue, x.reported.member,
                    x.reported.number);
    return text;
}

} // namespace

TEST(Solver, aSerialIsFoundAsTextAndAsNumber) {
    const WordSpaces spaces{.holding = {{10, {0x4142, 0x4344, 0x4500}}},
                            .input = {{0, {0x0263, 0x5A7B}}}};
    const auto text = found("ABCDE", spaces).best;
    ASSERT_EQ(text.size(), 1U);
    EXPECT_EQ(text[0].entry, (ModbusRegister{10, ModbusFieldType::serial, ModbusDataType::ascii, 3,
                                             1, ModbusRegisterType::holding}));
    const auto number = found("40065659", spaces).best;
    ASSERT_EQ(number.size(), 1U);
    EXPECT_EQ(number[0].entry, (ModbusRegister{0, ModbusFieldType::serial, ModbusDataType::uint32,
                                               1, 1, ModbusRegisterType::input}));
}

TEST(Solver, whatTheDaemonCanNotReadIsToldOnceWithItsOrder) {
    // 165191 in hundredths of a kilowatt-hour: 0x00028547.
    const auto orderOf = [](std::uint16_t first, std::uint16_t second) {
        std::string text;
        const WordSpaces spaces{.input = {{7, {first, second}}}};
        EXPECT_TRUE(found("1651.91 kWh", spaces).best.empty());
        for (const Unreadable& x : unreadableFor({{readDisplay("1651.91 kWh"), spaces}}).best)
            text += row(x.address, x.order, x.modbusDataType, x.scale, x.raw);
        return text;
    };
    EXPECT_EQ(orderOf(0x8547, 0x0002), "7 little-endian words uint32 0.01 165191\n");
    EXPECT_EQ(orderOf(0x0200, 0x4785), "7 swapped bytes uint32 0.01 165191\n");
    EXPECT_EQ(orderOf(0x4785, 0x0200),
              "7 little-endian words with swapped bytes uint32 0.01 165191\n");
}

TEST(Solver, aSerialThatTheDaemonCanNotReadIsToldWithItsOrder) {
    const auto orderOf = [](const std::string& serial, std::vector<std::uint16_t> words) {
        std::string text;
        const WordSpaces spaces{.input = {{7, std::move(words)}}};
        for (const Unreadable& x : unreadableFor({{readDisplay(serial), spaces}}).best)
            text += row(x.address, x.order, x.modbusDataType, x.words);
        return text;
    };
    // A number has two words, however many digits.
    EXPECT_EQ(orderOf("12345678", {24910, 188}), "7 little-endian words uint32 2\n");
    EXPECT_EQ(orderOf("7", {7, 0}), "7 little-endian words uint32 2\n");
    EXPECT_EQ(orderOf("ABCDE", {0x4241, 0x4443, 0x0045}), "7 swapped bytes ascii 3\n");
    // What reads the same in the daemon's own order.
    EXPECT_EQ(orderOf("65537", {1, 1, 0, 0}), "");
    EXPECT_EQ(orderOf("1111", {0x3131, 0x3131}), "");
}

TEST(Solver, whatIsUnreadableMovesWithTheDisplayToo) {
    const auto reading = [](const char* display, std::uint16_t low) {
        return Reading{readDisplay(display), {.input = {{7, {low, 2}}}}};
    };
    EXPECT_EQ(
        unreadableFor({reading("1651.91 kWh", 0x8547), reading("1651.99 kWh", 0x854F)}).best.size(),
        1U);
    EXPECT_TRUE(unreadableFor({reading("1651.91 kWh", 0x8547), reading("1651.99 kWh", 0x8547)})
                    .best.empty());
}

TEST(Solver, aDeliveryShownBelowZeroIsReportedAsProduced) {
    const WordSpaces words{.holding = {{5, {0xFFFF, 0xFB1E}}}};
    EXPECT_EQ(textOf(found("-1250 W", words)), "5 int32 1 powerProduced 1250\n");
    EXPECT_EQ(textOf(found("-1.25 kW", words)), "5 int32 1 powerProduced 1250\n");
    EXPECT_EQ(textOf(found("-1250 W", words, ModbusFieldType::powerExport)),
              "5 int32 1 powerProduced -1250\n");
}

TEST(Solver, wordsWithTheOtherSignThanTheDisplayNeedANegativeScale) {
    const WordSpaces negative{.holding = {{5, {0xFFFF, 0xFB1E}}}};
    const WordSpaces positive{.holding = {{5, {0, 1250}}}};
    EXPECT_EQ(textOf(found("1250 W", negative)), "5 int32 -1 powerConsumed 1250\n");
    EXPECT_EQ(textOf(found("1250 W", negative, ModbusFieldType::powerExport)),
              "5 int32 -1 powerProduced 1250\n");
    EXPECT_EQ(textOf(found("-1250 W", positive)), "5 int32 -1 powerProduced 1250\n");
    EXPECT_EQ(textOf(found("1250 kWh", negative)), "5 int32 -1 energyConsumed 1250\n");
}

TEST(Solver, aZeroHasOneScaleAndStandsAheadOfWhatIsOnlyDisplayedAsZero) {
    const auto zeros = found("0.0 kW", {.input = {{0, {7, 7, 7}}, {9, {0}}}}).best;
    ASSERT_FALSE(zeros.empty());
    EXPECT_EQ(zeros[0].entry,
              (ModbusRegister{9, ModbusFieldType::powerImport, ModbusDataType::uint16, 1, 1,
                              ModbusRegisterType::input}));
    EXPECT_EQ(
        std::count_if(zeros.begin(), zeros.end(), [](const Candidate& x) { return x.raw == 0; }),
        1);
    EXPECT_GT(zeros.size(), 1U);
}

TEST(Solver, aScaleIsFoundBySecondReadingAfterAZero) {
    const auto both = candidatesFor({{readDisplay("0.0 kWh"), {.input = {{0, {0, 0}}}}},
                                     {readDisplay("0.4 kWh"), {.input = {{0, {0, 4}}}}}});
    ASSERT_EQ(both.best.size(), 1U);
    EXPECT_EQ(both.best[0].entry,
              (ModbusRegister{0, ModbusFieldType::energyImport, ModbusDataType::uint32, 1, 0.1F,
                              ModbusRegisterType::input}));
    EXPECT_EQ(both.best[0].alike.size(), 2U);
}

TEST(Solver, ofMoreThanAHundredEntriesTheBestAreKeptAndTheOthersCounted) {
    WordSpaces words;
    words.holding[0].resize(65536);
    words.input[0].resize(65536);
    const auto many = found("0 kWh", words);
    EXPECT_EQ(many.best.size(), 100U);
    // Of six types one at each address, but for those that the end of a space cuts.
    EXPECT_EQ(many.leftOut, 2U * (6 * 65536 - 2 * 3 - 3 * 1) - 100);
    EXPECT_EQ(many.best[0].entry.registerType, ModbusRegisterType::input);
    EXPECT_EQ(many.best[0].entry.address, 0);
}

TEST(WordsOfAFile, ofOneThatStandsTwiceTheLaterCountsAndNoneIsLost) {
    const WordSpaces spaces =
        readWordSpaces(R"({"holding":{"5":[1,2,3],"6":[7]},"holding":{"5":[9],"8":[4]}})", "words");
    EXPECT_EQ(toJson(spaces), R"({"holding":{"5":[9,7,3,4]},"input":{}})");
}

TEST(Display, hasNoExponentAndOneSign) {
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { readDisplay("1.5e3 kWh"); }),
              "\"1.5e3 kWh\"" + noUnit);
    EXPECT_TRUE(readDisplay("+-5 kWh").isSerial());
    EXPECT_EQ(readDisplay("+5 kWh").value, 5);
}

TEST(Display, aValueWithoutAKnownUnitIsNoSerial) {
    for (const std::string text :
         {"1651.91", "1651,91", "1651.91 kwh", "1651.91 kVA", "1651kwh", "1651W h"})
        EXPECT_EQ(thrownBy<std::invalid_argument>([&] { readDisplay(text); }),
                  "\"" + text + "\"" + noUnit);
    EXPECT_TRUE(readDisplay("30115577").isSerial());
    EXPECT_TRUE(readDisplay("40000123AB").isSerial());
    EXPECT_TRUE(readDisplay("S-1").isSerial());
    for (const std::string text : {"INFINEON 12", "nan", "inf kWh", "-NaN 7", "-", "+"})
        EXPECT_TRUE(readDisplay(text).isSerial()) << text;
}

TEST(Display, takesAPointOrACommaAndEachUnit) {
    for (const std::string text : {"1651.91 kWh", "1651,91 kWh", "1651910 Wh", "1.65191 MWh"})
        EXPECT_DOUBLE_EQ(readDisplay(text).value, 1651.91) << text;
    EXPECT_DOUBLE_EQ(readDisplay("1,25 kW").value, 1250);
    EXPECT_DOUBLE_EQ(readDisplay("-1250W").value, -1250);
}

TEST(Display, digitsInGroupsAreRefused) {
    for (const std::string text : {"1 651.91 kWh", "1,651.91 kWh", "1.651,91 kWh", "1'651 W"})
        EXPECT_EQ(thrownBy<std::invalid_argument>([&] { readDisplay(text); }),
                  "\"" + text +
                      "\" is no number; write its digits without a mark between groups of them");
}
