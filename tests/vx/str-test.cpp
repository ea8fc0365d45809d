#include "vx/str.h"

#include "support/thrown-text.h"
#include "vx/exception.h"
#include "vx/json.h"
#include "vx/log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <climits>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <thread>

namespace {

std::string writtenAs(const auto& value) {
    return vx::str(value);
}

struct SilentError : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

} // namespace

TEST(Str, writesAllArgumentsInOrder) {
    EXPECT_EQ(vx::str("a", 1, std::string("b"), 'c'), "a1bc");
}

TEST(Str, keepsTrailingBlanks) {
    EXPECT_EQ(vx::str("a", "  "), "a  ");
}

TEST(StrArgs, removesExactlyOneTrailingBlank) {
    EXPECT_EQ(vx::strArgs("a", "  "), "a ");
    EXPECT_EQ(vx::strArgs("a "), "a");
}

TEST(StrArgs, keepsOtherWhiteSpaceAtTheEnd) {
    EXPECT_EQ(vx::strArgs("a\n"), "a\n");
}

TEST(StrArgs, emptyTextGivesEmptyResult) {
    EXPECT_EQ(vx::strArgs(), "");
    EXPECT_EQ(vx::strArgs(""), "");
}

TEST(StrWriter, nullPointerToTextIsWrittenAsNull) {
    const char* constant = nullptr;
    char* variable = nullptr;

    EXPECT_EQ(writtenAs(constant), "null");
    EXPECT_EQ(writtenAs(variable), "null");
}

TEST(StrWriter, textIsWrittenAsItStands) {
    const char* text = "pointer";

    EXPECT_EQ(writtenAs(text), "pointer");
    EXPECT_EQ(writtenAs("literal"), "literal");
    EXPECT_EQ(writtenAs(std::string("string")), "string");
}

TEST(StrWriter, charIsWrittenAsCharacterAndItsKinAsNumbers) {
    EXPECT_EQ(writtenAs('A'), "A");
    EXPECT_EQ(writtenAs(static_cast<unsigned char>(200)), "200");
    EXPECT_EQ(writtenAs(static_cast<signed char>(-65)), "-65");
}

TEST(StrWriter, numbersKeepTheStreamsDefaultFormat) {
    EXPECT_EQ(writtenAs(1234567.0), "1.23457e+06");
    EXPECT_EQ(writtenAs(0.1F), "0.1");
    EXPECT_EQ(writtenAs(255), "255");
    EXPECT_EQ(writtenAs(true), "1");
    EXPECT_EQ(writtenAs(false), "0");
}

TEST(StrWriter, enumerationIsWrittenAsItsName) {
    EXPECT_EQ(writtenAs(vx::LogSeverity::warning), "warning");
    EXPECT_EQ(writtenAs(vx::Exception::Type::overloaded), "overloaded");
}

TEST(StrWriter, exceptionIsWrittenAsItsText) {
    EXPECT_EQ(writtenAs(std::runtime_error("broken")), "broken");
    EXPECT_EQ(writtenAs(vx::Exception("failed")), "failed");
}

TEST(StrWriter, exceptionWithoutTextFailsTheStreamAndWritesNothing) {
    std::ostringstream stream;

    vx::detail::write(stream, SilentError());

    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(stream.str(), "");
}

TEST(StrWriter, jsonFragmentIsWrittenAsItsText) {
    EXPECT_EQ(writtenAs(vx::parseJsonFragment(R"({ "a" : [1] })")), R"({"a":[1]})");
    EXPECT_EQ(writtenAs(std::shared_ptr<json_object>()), "null");
}

TEST(StrWriter, variantIsWrittenAsTheAlternativeItHolds) {
    using Variant = std::variant<std::monostate, signed char, std::string>;

    EXPECT_EQ(writtenAs(Variant()), "null");
    EXPECT_EQ(writtenAs(Variant(static_cast<signed char>(7))), "7");
    EXPECT_EQ(writtenAs(Variant("text")), "text");
}

TEST(StrWriter, errorCodeIsWrittenAsItsMessage) {
    const boost::system::error_code code(ENOENT, boost::system::system_category());

    EXPECT_EQ(writtenAs(code), "No such file or directory");
}

TEST(StrWriter, aMomentOfTheSteadyClockIsItsSeconds) {
    using std::chrono::steady_clock;

    EXPECT_EQ(vx::str(steady_clock::time_point(std::chrono::milliseconds(2500))), "2.5");
    EXPECT_EQ(vx::str(steady_clock::time_point(std::chrono::seconds(1234567))), "1.23457e+06");
}

TEST(TrimFile, pathWithoutSourceRootIsKeptWhole) {
    EXPECT_EQ(vx::trimFile("lib/vx/str.cpp"), "lib/vx/str.cpp");
}

TEST(TrimFile, onlyThePartBehindTheLastSourceRootRemains) {
    EXPECT_EQ(vx::trimFile("../src/vx/str.cpp"), "vx/str.cpp");
    EXPECT_EQ(vx::trimFile("build/src/a/src/vx/str.cpp"), "vx/str.cpp");
    EXPECT_EQ(vx::trimFile("mysrc/vx/str.cpp"), "vx/str.cpp");
}

TEST(TrimFile, lengthRuleAppliesBehindTheSourceRoot) {
    EXPECT_EQ(vx::trimFile("a/very/long/way/to/this/place/src/vx/str.cpp"), "vx/str.cpp");
    EXPECT_EQ(vx::trimFile("src/a-folder/with/a/file-of-a-long-name.cpp"),
              "...ith/a/file-of-a-long-name.cpp");
}

TEST(TrimFileWithDotsToMaxSize, pathOf32CharactersIsUnchanged) {
    EXPECT_EQ(vx::trimFileWithDotsToMaxSize("abcdefghijklmnopqrstuvwxyz012345"),
              "abcdefghijklmnopqrstuvwxyz012345");
}

TEST(TrimFileWithDotsToMaxSize, pathOf33CharactersBecomesThreeDotsAndItsLast29) {
    EXPECT_EQ(vx::trimFileWithDotsToMaxSize("abcdefghijklmnopqrstuvwxyz0123456"),
              "...efghijklmnopqrstuvwxyz0123456");
}

TEST(TrimFileWithDotsToMaxSize, muchLongerPathKeepsItsLast29Too) {
    EXPECT_EQ(
        vx::trimFileWithDotsToMaxSize(std::string(100, 'x') + "/29-characters-of-the-file.cpp"),
        "...29-characters-of-the-file.cpp");
}

TEST(TryToInt, acceptsANumberAndNothingElse) {
    EXPECT_EQ(vx::tryToInt("12"), 12);
    EXPECT_EQ(vx::tryToInt("-5"), -5);
    EXPECT_EQ(vx::tryToInt("+5"), 5);
    EXPECT_EQ(vx::tryToInt("010"), 10);
}

TEST(TryToInt, refusesEmptyTextBlanksAndRests) {
    for (const char* text : {"", " 1", "\t1", "1 ", "1x", "x", "-", "0x10", "1.0"})
        EXPECT_EQ(vx::tryToInt(text), std::nullopt) << text;
    EXPECT_EQ(vx::tryToInt(std::string("1\0002", 3)), std::nullopt);
}

TEST(TryToNumber, noWhiteSpaceMayStandAhead) {
    for (const char blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        EXPECT_EQ(vx::tryToInt(std::string(1, blank) + "1"), std::nullopt);
        EXPECT_EQ(vx::tryToDouble(std::string(1, blank) + "1"), std::nullopt);
    }
}

TEST(TryToInt, valueBeyondTheRangeOfLongComesBackClamped) {
    EXPECT_EQ(vx::tryToInt("99999999999999999999"), static_cast<int>(LONG_MAX));
    EXPECT_EQ(vx::tryToInt("-99999999999999999999"), static_cast<int>(LONG_MIN));
}

TEST(TryToDouble, acceptsANumberAndNothingElse) {
    EXPECT_EQ(vx::tryToDouble("0.5"), 0.5);
    EXPECT_EQ(vx::tryToDouble("0"), 0.0);
    EXPECT_EQ(vx::tryToDouble("0e3"), 0.0);
    EXPECT_EQ(vx::tryToDouble("0E3"), 0.0);
    EXPECT_EQ(vx::tryToDouble("1e3"), 1000.0);
    EXPECT_EQ(vx::tryToDouble("-1.25"), -1.25);
    EXPECT_EQ(vx::tryToDouble(".5"), 0.5);
}

TEST(TryToDouble, refusesWhatLooksOctalOrHexadecimal) {
    for (const char* text : {"01", "007", "0x10", "00"})
        EXPECT_EQ(vx::tryToDouble(text), std::nullopt) << text;
}

TEST(TryToDouble, looksForOctalAndHexadecimalInTheFirstCharacterAlone) {
    EXPECT_EQ(vx::tryToDouble("-007"), -7.0);
    EXPECT_EQ(vx::tryToDouble("-0x10"), -16.0);
}

TEST(TryToDouble, acceptsInfinityByNameAndByRange) {
    constexpr double infinity = std::numeric_limits<double>::infinity();

    EXPECT_EQ(vx::tryToDouble("inf"), infinity);
    EXPECT_EQ(vx::tryToDouble("1e999"), infinity);
    EXPECT_EQ(vx::tryToDouble("-1e999"), -infinity);
}

TEST(TryToDouble, refusesEmptyTextBlanksAndRests) {
    for (const char* text : {"", " 1", "\n1", "1 ", "1x", "0 ", "x", "."})
        EXPECT_EQ(vx::tryToDouble(text), std::nullopt) << text;
    EXPECT_EQ(vx::tryToDouble(std::string("1\0002", 3)), std::nullopt);
}

TEST(RequireInt, givesTheNumber) {
    EXPECT_EQ(vx::requireInt("-7"), -7);
}

TEST(RequireInt, throwsWithTheTextThatIsNone) {
    EXPECT_EQ(thrownText([] { vx::requireInt("12x"); }),
              "Conversion to integer failed. s:12x vx/str.cpp:<line>");
}

TEST(RequireDouble, givesTheNumber) {
    EXPECT_EQ(vx::requireDouble("2.5"), 2.5);
}

TEST(RequireDouble, throwsWithTheTextThatIsNone) {
    EXPECT_EQ(thrownText([] { vx::requireDouble("01"); }),
              "Conversion to double failed. s:01 vx/str.cpp:<line>");
}

TEST(IntToString, base16IsHexadecimalWithPrefix) {
    EXPECT_EQ(vx::intToString(255, 16), "0xff");
    EXPECT_EQ(vx::intToString(0, 16), "0x0");
    EXPECT_EQ(vx::intToString(-1, 16), "0xffffffffffffffff");
}

TEST(IntToString, anyOtherBaseIsDecimal) {
    EXPECT_EQ(vx::intToString(-1, 10), "-1");
    EXPECT_EQ(vx::intToString(255, 2), "255");
    EXPECT_EQ(vx::intToString(LLONG_MIN, 0), "-9223372036854775808");
}

TEST(ThreadLocalRandomEngine, everyThreadHasItsOwnSeedAndNoneIsTheFixedPoint) {
    std::set<std::minstd_rand0::result_type> states;
    const std::minstd_rand0* ofThisThread = &vx::threadLocalRandomEngine();

    for (int i = 0; i < 20; ++i)
        std::thread([&] {
            EXPECT_NE(&vx::threadLocalRandomEngine(), ofThisThread);
            states.insert(vx::threadLocalRandomEngine()());
        }).join();

    EXPECT_GT(states.size(), 15U);
    EXPECT_EQ(states.count(0), 0U);
}

TEST(ThreadLocalRandomEngine, takesTheRemainderOfItsSeedAndOneInsteadOfZero) {
    constexpr std::uint32_t modulus = 0x7fffffff;

    for (const std::uint32_t seed : {0U, 1U, 2U, modulus - 1, modulus, modulus + 1, 2 * modulus - 1,
                                     2 * modulus, 2 * modulus + 1})
        EXPECT_EQ(std::minstd_rand0(seed), std::minstd_rand0(std::max(seed % modulus, 1U))) << seed;
}

TEST(ThreadLocalRandomEngine, isSeededOnlyAtItsFirstUse) {
    vx::threadLocalRandomEngine().seed(5);

    EXPECT_EQ(vx::threadLocalRandomEngine()(), 5U * 16807U);
}

TEST(RandomId, has16CharactersOfTheAlphabet) {
    const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::set<char> seen;

    for (int i = 0; i < 1000; ++i) {
        const std::string id = vx::randomId();
        ASSERT_EQ(id.size(), 16U);
        seen.insert(id.begin(), id.end());
    }

    EXPECT_EQ(std::string(seen.begin(), seen.end()), alphabet);
}

TEST(RandomId, drawsFromTheEngineOfTheThreadWithoutABias) {
    const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::minstd_rand0 engine(1);
    std::uniform_int_distribution<int> position(0, 61);
    std::string expected;
    while (expected.size() < 32)
        expected += alphabet[static_cast<std::size_t>(position(engine))];

    vx::threadLocalRandomEngine().seed(1);

    EXPECT_EQ(vx::randomId(), expected.substr(0, 16));
    EXPECT_EQ(vx::randomId(), expected.substr(16));
}

TEST(RandomId, seedsTheEngineOfAThreadThatAsksForNothingElse) {
    std::set<std::string> ids;

    for (int i = 0; i < 20; ++i)
        std::thread([&] { ids.insert(vx::randomId()); }).join();

    EXPECT_GT(ids.size(), 15U);
}
