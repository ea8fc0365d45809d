#include "vx/items.h"

#include <gtest/gtest.h>

using vx::detail::isStringLiteral;
using vx::detail::literalSize;

// Otherwise only the compiler evaluates these functions. The sources stand in raw literals, as they
// would in a statement.

TEST(LiteralSize, countsBothQuotes) {
    EXPECT_EQ(2U, literalSize(R"("")"));
    EXPECT_EQ(5U, literalSize(R"("abc")"));
}

TEST(LiteralSize, isZeroForWhatBeginsOtherwise) {
    EXPECT_EQ(0U, literalSize(""));
    EXPECT_EQ(0U, literalSize("abc"));
    EXPECT_EQ(0U, literalSize(R"(f("abc"))"));
    EXPECT_EQ(0U, literalSize(R"(u8"abc")"));
}

TEST(LiteralSize, leavesOutWhatFollows) {
    EXPECT_EQ(5U, literalSize(R"("abc" "d")"));
    EXPECT_EQ(5U, literalSize(R"("abc"+d)"));
}

TEST(LiteralSize, anEscapedQuoteIsNoEnd) {
    EXPECT_EQ(7U, literalSize(R"("ab\"c")"));
    EXPECT_EQ(4U, literalSize(R"("\"")"));
}

TEST(LiteralSize, aQuoteBehindAnEscapedBackslashIsTheEnd) {
    EXPECT_EQ(4U, literalSize(R"("\\")"));
    EXPECT_EQ(4U, literalSize(R"("\\"")"));
}

TEST(LiteralSize, isZeroWithoutAnEnd) {
    EXPECT_EQ(0U, literalSize(R"(")"));
    EXPECT_EQ(0U, literalSize(R"("abc)"));
    EXPECT_EQ(0U, literalSize(R"("abc\")"));
}

TEST(LiteralSize, countsTheDelimitersOfARawLiteral) {
    EXPECT_EQ(5U, literalSize("R\"()\""));
    EXPECT_EQ(8U, literalSize("R\"(abc)\""));
    EXPECT_EQ(10U, literalSize("R\"x(abc)x\""));
    EXPECT_EQ(12U, literalSize("R\"xy(abc)xy\""));
}

TEST(LiteralSize, aRawLiteralEndsAtItsOwnDelimiterOnly) {
    EXPECT_EQ(11U, literalSize("R\"x(a)\"b)x\""));
    EXPECT_EQ(12U, literalSize("R\"x(a)y\"b)x\""));
    EXPECT_EQ(10U, literalSize("R\"x(a)x)x\""));
    EXPECT_EQ(8U, literalSize("R\"(a\"b)\""));
}

TEST(LiteralSize, leavesOutWhatFollowsARawLiteral) {
    EXPECT_EQ(8U, literalSize("R\"(abc)\" \"d\""));
    EXPECT_EQ(10U, literalSize("R\"x(abc)x\")x\""));
}

TEST(LiteralSize, isZeroForARawLiteralWithoutAnEnd) {
    EXPECT_EQ(0U, literalSize("R\"(abc"));
    EXPECT_EQ(0U, literalSize("R\"(abc)"));
    EXPECT_EQ(0U, literalSize("R\"x(abc)x"));
    EXPECT_EQ(0U, literalSize("R\"x(abc)\""));
}

TEST(LiteralSize, looksForNoEndBehindTheSource) {
    EXPECT_EQ(0U, literalSize(std::string_view("\"abc\"").substr(0, 4)));
    EXPECT_EQ(0U, literalSize(std::string_view("R\"(abc)\"").substr(0, 6)));
}

TEST(IsStringLiteral, isTrueForOneLiteral) {
    EXPECT_TRUE(isStringLiteral(R"("abc")"));
    EXPECT_TRUE(isStringLiteral(R"("")"));
    EXPECT_TRUE(isStringLiteral("R\"(abc)\""));
}

TEST(IsStringLiteral, isTrueForLiteralsThatTheCompilerJoins) {
    EXPECT_TRUE(isStringLiteral(R"("abc" "d")"));
    EXPECT_TRUE(isStringLiteral(R"("abc""d")"));
    EXPECT_TRUE(isStringLiteral("\"abc\" R\"(d)\" \"e\""));
}

TEST(IsStringLiteral, isFalseForAnythingElse) {
    EXPECT_FALSE(isStringLiteral(""));
    EXPECT_FALSE(isStringLiteral("abc"));
    EXPECT_FALSE(isStringLiteral(R"("abc" + d)"));
    EXPECT_FALSE(isStringLiteral(R"("abc" d)"));
    EXPECT_FALSE(isStringLiteral(R"("abc"[0])"));
    EXPECT_FALSE(isStringLiteral(R"(d "abc")"));
}
