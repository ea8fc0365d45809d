#include "sample-records.h"
#include "vx/record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <vector>

using namespace sample;

namespace {

/// Its fields have the names that the list of fields is likely to use itself.
struct Visitor {
    int visitor = 1;
    int stream = 2;
    int record = 3;
    int member = 4;
    int key = 5;
    int R = 6; // NOLINT(readability-identifier-naming)

    bool operator==(const Visitor&) const = default;
    VX_FIELDS(Visitor, visitor, stream, record, member, key, R)
};

} // namespace

TEST(RecordText, nothingToWriteGivesBraces) {
    EXPECT_EQ(text(Everything()), "{}");
}

TEST(RecordText, valuesAreNeitherQuotedNorEscaped) {
    EXPECT_EQ(text(full()),
              R"({"flag":1,"tiny":-5,"byte":200,"word":65535,"number":-2147483647,)"
              R"("single":1.5,"real":2.25,"text":a "b","name":n,"colour":red,)"
              R"("time":2026-11-14T02:24:09.123Z,"maybe":0,"list":[{"number":1},{"number":2}],)"
              R"("reals":[0.5,0],"inner":{"number":3}})");
}

TEST(RecordText, aVariantShowsItsIndexAndItsAlternative) {
    EXPECT_EQ(text(Owner{Cat{"cat", 9}}), R"({"pet":{1:{"type":cat,"lives":9}}})");
}

TEST(RecordText, aKeyMayDifferFromTheMembersName) {
    EXPECT_EQ(text(Renamed{3}), R"({"no":3})");
}

TEST(RecordText, theFieldsMayHaveAnyName) {
    EXPECT_EQ(text(Visitor()), R"({"visitor":1,"stream":2,"record":3,"member":4,"key":5,"R":6})");
    EXPECT_EQ(vx::toJson(vx::toJsonFragment(Visitor())),
              R"({"visitor":1,"stream":2,"record":3,"member":4,"key":5,"R":6})");
    EXPECT_EQ(vx::fromJson<Visitor>(R"({"visitor":7})").visitor, 7);
}

TEST(RecordText, anOptionalInAListOfItsOwnShowsNull) {
    EXPECT_EQ(vx::str(std::vector<std::optional<double>>{std::nullopt, 0.0}), "[null,0]");
}

TEST(RecordText, aListAsAnItemOfAMessageHasTheSameForm) {
    EXPECT_EQ(vx::str(std::vector<Inner>{{1}, {0}}), R"([{"number":1},{}])");
}

TEST(RecordText, anUnknownEnumerationValueShowsNothingAndIsReportedWithoutItsKey) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(text(Everything{.colour = static_cast<Colour>(9)}), R"({"colour":})");

    EXPECT_THAT(log.take(),
                testing::ElementsAre("debug vxEnum Unknown Colour enum value 9 .cpp:<line>"));
}

TEST(RecordComparison, comparesEveryFieldAndANanDiffersFromItself) {
    Everything nan;
    nan.real = std::numeric_limits<double>::quiet_NaN();
    const Everything copy = nan;

    EXPECT_FALSE(nan == copy);
    EXPECT_TRUE(nan != copy);
    EXPECT_TRUE(full() == full());
    Everything other = full();
    other.inner.number = 4;
    EXPECT_TRUE(full() != other);
}
