#include "vx/log-rule.h"

#include <gtest/gtest.h>

using vx::LogRule;
using vx::LogSeverity;

namespace {

std::optional<LogRule> parseRule(std::string text) {
    return vx::tryParseLogRule(text.data());
}

} // namespace

TEST(TryParseLogSeverityChar, acceptsTheSixLetters) {
    EXPECT_EQ(vx::tryParseLogSeverityChar("F"), LogSeverity::fatal);
    EXPECT_EQ(vx::tryParseLogSeverityChar("E"), LogSeverity::error);
    EXPECT_EQ(vx::tryParseLogSeverityChar("W"), LogSeverity::warning);
    EXPECT_EQ(vx::tryParseLogSeverityChar("N"), LogSeverity::notice);
    EXPECT_EQ(vx::tryParseLogSeverityChar("I"), LogSeverity::info);
    EXPECT_EQ(vx::tryParseLogSeverityChar("D"), LogSeverity::debug);
}

TEST(TryParseLogSeverityChar, refusesEveryOtherText) {
    for (const char* text : {"", "P", "d", "f", "x", " ", "DD", "D ", " D", "0"})
        EXPECT_EQ(vx::tryParseLogSeverityChar(text), std::nullopt) << text;
}

TEST(TryParseLogRule, letterAloneMatchesEveryChannel) {
    EXPECT_EQ(parseRule("D"), (LogRule{"", LogSeverity::debug}));
}

TEST(TryParseLogRule, emptyNameIsTheSameAsNone) {
    EXPECT_EQ(parseRule(":D"), parseRule("D"));
}

TEST(TryParseLogRule, nameStandsBeforeTheColon) {
    EXPECT_EQ(parseRule("modbusSerial:W"), (LogRule{"modbusSerial", LogSeverity::warning}));
    EXPECT_EQ(parseRule("8x:E"), (LogRule{"8x", LogSeverity::error}));
}

TEST(TryParseLogRule, nameThatIsNotAlphanumericInvalidatesTheRule) {
    for (const char* text :
         {"foo-bar:D", "foo_bar:D", "foo.bar:D", "foo :D", " foo:D", "\xC3\xA4:D"})
        EXPECT_EQ(parseRule(text), std::nullopt) << text;
}

TEST(TryParseLogRule, whatIsNoLetterBehindTheColonInvalidatesTheRule) {
    for (const char* text : {"foo:d", "foo:P", "foo:", "foo:DD", "foo: D", "a:b:D", "foo::D", ":"})
        EXPECT_EQ(parseRule(text), std::nullopt) << text;
}

TEST(TryParseLogRule, withoutColonTheWholeTextMustBeALetter) {
    for (const char* text : {"", "x", "foo", "d", "P"})
        EXPECT_EQ(parseRule(text), std::nullopt) << text;
}

TEST(TryParseLogRules, keepsValidRulesInTheirOrder) {
    EXPECT_EQ(vx::tryParseLogRules("N,modbusSerial:D,HttpClient:W"),
              (std::vector<LogRule>{{"", LogSeverity::notice},
                                    {"modbusSerial", LogSeverity::debug},
                                    {"HttpClient", LogSeverity::warning}}));
}

TEST(TryParseLogRules, dropsInvalidRulesInSilence) {
    EXPECT_EQ(vx::tryParseLogRules("foo-bar:D,a:E,foo:d,x,,foo:P, I,b:W"),
              (std::vector<LogRule>{{"a", LogSeverity::error}, {"b", LogSeverity::warning}}));
}

TEST(TryParseLogRules, trailingCommaAddsNothing) {
    EXPECT_EQ(vx::tryParseLogRules("D,"), (std::vector<LogRule>{{"", LogSeverity::debug}}));
}

TEST(TryParseLogRules, leadingCommaIsAnInvalidRule) {
    EXPECT_EQ(vx::tryParseLogRules(",D"), (std::vector<LogRule>{{"", LogSeverity::debug}}));
}

TEST(TryParseLogRules, emptyTextGivesNoRules) {
    EXPECT_TRUE(vx::tryParseLogRules("").empty());
    EXPECT_TRUE(vx::tryParseLogRules(",").empty());
    EXPECT_TRUE(vx::tryParseLogRules("x").empty());
}

TEST(TryParseLogRules, sameNameMayStandTwice) {
    EXPECT_EQ(vx::tryParseLogRules("a:E,a:D").size(), 2U);
}
