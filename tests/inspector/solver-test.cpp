#include "inspector/solver/candidates.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/unreadable.h"
#include "support/thrown-by.h"
#include "vx/enum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <random>
#include <stdexcept>

using namespace inspector;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

namespace {

/// The daemon's code logs what it converts.
const bool isSilent = (silenceDaemon(), true);

constexpr std::size_t wordsOfSpace = 125;
constexpr int firstAddress = 1000;

constexpr ModbusDataType types[] = {ModbusDataType::uint16, ModbusDataType::int32,
                                    ModbusDataType::uint32, ModbusDataType::int64,
                                    ModbusDataType::uint64, ModbusDataType::float32};

/// A scale, and the decimals that a display shows then.
struct Scale {
    float factor;
    int decimals;
};
constexpr Scale scales[] = {{0.001F, 3}, {0.01F, 2},      {0.1F, 1},    {1.0F, 0},
                            {10.0F, 0},  {100.0F, 0},     {1000.0F, 0}, {1.0F / 3600, 3},
                            {0.5F, 1},   {1.0F / 3.6F, 2}};

/// A register whose words stand among random ones, and what the display shows of it at two times.
class Meter {
public:
    explicit Meter(std::mt19937& random) : m_random(random) {
        const int field = draw(static_cast<int>(ModbusFieldType::powerImport),
                               static_cast<int>(ModbusFieldType::energyExportTariff6));
        const ModbusDataType type = types[draw(0, std::size(types) - 1)];
        m_scale = scales[draw(0, std::size(scales) - 1)];
        m_place = static_cast<std::size_t>(draw(0, wordsOfSpace - 4));
        entry = {static_cast<std::uint16_t>(firstAddress + m_place),
                 static_cast<ModbusFieldType>(field),
                 type,
                 1,
                 m_scale.factor,
                 draw(0, 1) == 0 ? ModbusRegisterType::input : ModbusRegisterType::holding};
        // A counter of a home, or the power of one.
        const double most = type == ModbusDataType::uint16 ? 60000 : 200000 / m_scale.factor;
        m_raw = std::uniform_real_distribution(1.0, std::max(most, 2.0))(random);
        if (type != ModbusDataType::float32)
            m_raw = std::floor(m_raw);
    }

    /// What the display shows now.
    std::string display() const {
        char text[64];
        std::snprintf(text, sizeof text, "%.*f %s", m_scale.decimals, reportedNow(),
                      factsOf(entry.fieldType).unit == "Ws" ? "kWh" : "W");
        return text;
    }

    /// The words now, among others.
    WordSpaces words() {
        std::vector<std::uint16_t> all(wordsOfSpace);
        for (std::uint16_t& word : all)
            word = static_cast<std::uint16_t>(draw(0, 65535));
        const auto count = static_cast<std::size_t>(wordsOf(entry));
        const std::uint64_t bits = rawBits();
        for (std::size_t i = 0; i < count; ++i)
            all[m_place + i] = static_cast<std::uint16_t>(bits >> 16 * (count - 1 - i));
        WordSpaces spaces;
        (entry.registerType == ModbusRegisterType::input ? spaces.input
                                                         : spaces.holding)[firstAddress] = all;
        return spaces;
    }

    /// Some time passes, in which the counter or power moves.
    void moveOn() {
        const double step = std::max(20 * displayStep() / m_scale.factor, 3.0);
        m_raw += std::floor(step + std::uniform_real_distribution(0.0, step)(m_random));
    }

    ModbusRegister entry;

private:
    int draw(int from, std::size_t to) {
        return std::uniform_int_distribution<int>(from, static_cast<int>(to))(m_random);
    }
    double displayStep() const { return std::pow(10.0, -m_scale.decimals); }

    std::uint64_t rawBits() const {
        if (entry.modbusDataType == ModbusDataType::float32)
            return std::bit_cast<std::uint32_t>(static_cast<float>(m_raw));
        return static_cast<std::uint64_t>(m_raw);
    }

    double reportedNow() const {
        const double raw = entry.modbusDataType == ModbusDataType::float32
                               ? static_cast<double>(static_cast<float>(m_raw))
                               : m_raw;
        return raw * static_cast<double>(m_scale.factor);
    }

    std::mt19937& m_random;
    Scale m_scale{};
    std::size_t m_place = 0;
    double m_raw = 0;
};

bool isOrReadsLike(const Candidate& candidate, const ModbusRegister& entry) {
    return candidate.entry == entry || std::find(candidate.alike.begin(), candidate.alike.end(),
                                                 entry) != candidate.alike.end();
}

std::string described(const Meter& meter) {
    return vx::str("", meter.entry) + " shows " + meter.display();
}

} // namespace

TEST(Solver, theRightEntryIsAmongTheFirstThreeOfTenThousandDisplays) {
    std::mt19937 random(20261122);
    for (int i = 0; i < 10000; ++i) {
        Meter meter(random);
        const auto found =
            candidatesFor(readDisplay(meter.display()), meter.words(), meter.entry.fieldType);
        const auto end = found.begin() + std::min<std::ptrdiff_t>(3, std::ssize(found));
        ASSERT_TRUE(std::any_of(found.begin(), end, [&](const Candidate& x) {
            return x.entry == meter.entry;
        })) << described(meter);
    }
}

TEST(Solver, aSecondReadingLeavesTheRightEntryAloneNineteenTimesOfTwenty) {
    std::mt19937 random(20261123);
    constexpr int tries = 10000;
    int alone = 0;
    for (int i = 0; i < tries; ++i) {
        Meter meter(random);
        auto found =
            candidatesFor(readDisplay(meter.display()), meter.words(), meter.entry.fieldType);
        const std::string before = described(meter);
        meter.moveOn();
        found = stillFitting(found, readDisplay(meter.display()), meter.words());
        ASSERT_TRUE(std::any_of(found.begin(), found.end(),
                                [&](const Candidate& x) { return isOrReadsLike(x, meter.entry); }))
            << before << ", then " << meter.display();
        alone += found.size() == 1 ? 1 : 0;
    }
    EXPECT_GE(alone, tries * 95 / 100);
    RecordProperty("alone", alone);
}

TEST(Solver, aSerialIsFoundAsTextAndAsNumber) {
    const WordSpaces spaces{.holding = {{10, {0x4142, 0x4344, 0x4500}}},
                            .input = {{0, {0x0263, 0x5A7B}}}};
    const auto text = candidatesFor(readDisplay("ABCDE"), spaces, std::nullopt);
    ASSERT_EQ(text.size(), 1U);
    EXPECT_EQ(text[0].entry, (ModbusRegister{10, ModbusFieldType::serial, ModbusDataType::ascii, 3,
                                             1, ModbusRegisterType::holding}));
    const auto number = candidatesFor(readDisplay("40065659"), spaces, std::nullopt);
    ASSERT_EQ(number.size(), 1U);
    EXPECT_EQ(number[0].entry, (ModbusRegister{0, ModbusFieldType::serial, ModbusDataType::uint32,
                                               1, 1, ModbusRegisterType::input}));
}

TEST(Solver, whatTheDaemonCanNotReadIsToldWithItsOrder) {
    // 165191 in hundredths of a kilowatt-hour: 0x00028547.
    const auto orderOf = [](std::uint16_t first, std::uint16_t second) {
        std::string text;
        const WordSpaces spaces{.input = {{7, {first, second}}}};
        EXPECT_TRUE(candidatesFor(readDisplay("1651.91 kWh"), spaces, std::nullopt).empty());
        for (const Unreadable& x : unreadableFor(readDisplay("1651.91 kWh"), spaces))
            text += std::to_string(x.address) + " " + x.order + " " +
                    vx::fromEnum<std::string>(x.modbusDataType) + "\n";
        return text;
    };
    EXPECT_EQ(orderOf(0x8547, 0x0002),
              "7 little-endian words uint32\n7 little-endian words int32\n");
    EXPECT_EQ(orderOf(0x0200, 0x4785), "7 swapped bytes uint32\n7 swapped bytes int32\n");
    EXPECT_EQ(orderOf(0x4785, 0x0200), "7 little-endian words with swapped bytes uint32\n7 "
                                       "little-endian words with swapped bytes int32\n");
}

TEST(WordsOfAFile, ofOneThatStandsTwiceTheLaterCountsAndNoneIsLost) {
    const WordSpaces spaces =
        readWordSpaces(R"({"holding":{"5":[1,2,3],"6":[7]},"holding":{"5":[9],"8":[4]}})", "words");
    EXPECT_EQ(toJson(spaces), R"({"holding":{"5":[9,7,3,4]},"input":{}})");
}

TEST(Display, hasNoExponentAndOneSign) {
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { readDisplay("1.5e3 kWh"); }),
              "\"1.5e3 kWh\" has no unit; there are W, kW, Wh, kWh and MWh");
    EXPECT_TRUE(readDisplay("+-5 kWh").isSerial());
    EXPECT_EQ(readDisplay("+5 kWh").value, 5);
}

TEST(Display, aValueWithoutAKnownUnitIsNoSerial) {
    for (const std::string text :
         {"1651.91", "1651,91", "1651.91 kwh", "1 651.91 kWh", "1,651.91 kWh", "1651.91 kVA"})
        EXPECT_EQ(thrownBy<std::invalid_argument>([&] { readDisplay(text); }),
                  "\"" + text + "\" has no unit; there are W, kW, Wh, kWh and MWh");
    EXPECT_TRUE(readDisplay("30115577").isSerial());
    EXPECT_TRUE(readDisplay("40000123AB").isSerial());
    EXPECT_TRUE(readDisplay("S-1").isSerial());
}
