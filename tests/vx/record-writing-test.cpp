#include "sample-records.h"
#include "vx/record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using namespace sample;

namespace {

/// Holds a record whose defaults are not zero.
struct Nested {
    Defaults inner = {};

    VX_FIELDS(Nested, inner)
};

/// Notes the log context in which it is compared.
struct Witness {
    static inline std::string seen;

    int number = 0;

    bool operator==(const Witness& other) const {
        seen = vx::str(vx::logContext());
        return number == other.number;
    }
    VX_FIELDS(Witness, number)
};

struct Observed {
    Witness witness = {};

    VX_FIELDS(Observed, witness)
};

} // namespace

TEST(RecordWriting, zeroFalseEmptyAndDefaultsNeverAppear) {
    EXPECT_EQ(written(Everything()), "{}");
}

TEST(RecordWriting, keysStandInDeclaredOrder) {
    EXPECT_EQ(written(full()),
              R"({"flag":true,"tiny":-5,"byte":200,"word":65535,"number":-2147483647,)"
              R"("single":1.5,"real":2.25,"text":"a \"b\"","name":"n","colour":"red",)"
              R"("time":"2026-11-14T02:24:09.123Z","maybe":0.0,"list":[{"number":1},{"number":2}],)"
              R"("reals":[0.5,0.0],"inner":{"number":3}})");
}

TEST(RecordWriting, aFalseOutsideOfARecordIsWritten) {
    EXPECT_EQ(vx::toJson(vx::toJsonFragment(false)), "false");
    EXPECT_EQ(vx::toJson(vx::toJsonFragment(true)), "true");
}

TEST(RecordWriting, leavingOutLooksAtZeroAndNotAtTheMembersDefault) {
    EXPECT_EQ(written(Defaults()), R"({"scale":1.0,"colour":"green"})");
    EXPECT_EQ(written(Defaults{0.0F, Colour::none}), "{}");
}

TEST(RecordWriting, aFieldThatIsLeftOutHasItsKeyInTheLogContextToo) {
    EXPECT_EQ(written(Observed()), "{}");

    EXPECT_EQ(Witness::seen, "/ witness ");
}

TEST(RecordWriting, aKeyMayDifferFromTheMembersName) {
    EXPECT_EQ(written(Renamed{3}), R"({"no":3})");
}

TEST(RecordWriting, negativeZeroIsLeftOut) {
    Everything record;
    record.real = -0.0;

    EXPECT_EQ(written(record), "{}");
}

TEST(RecordWriting, optionalZeroIsWrittenWhileAPlainZeroIsLeftOut) {
    Everything record;
    record.maybe = 0.0;
    record.real = 0.0;

    EXPECT_EQ(written(record), R"({"maybe":0.0})");
}

TEST(RecordWriting, numbersThatAreNotFiniteStandAsNullAndReadBackAsTheDefault) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}) {
        Everything record;
        record.single = static_cast<float>(value);
        record.real = value;
        record.maybe = value;
        record.reals = {value};

        EXPECT_EQ(written(record), R"({"single":null,"real":null,"maybe":null,"reals":[null]})");
        const auto back = read<Everything>(written(record).c_str());
        EXPECT_EQ(back.single, 0.0F);
        EXPECT_EQ(back.real, 0.0);
        EXPECT_EQ(back.maybe, std::nullopt);
        EXPECT_EQ(back.reals, std::vector<double>{0.0});
    }
}

TEST(RecordWriting, anEmptyElementOfAListIsKept) {
    Everything record;
    record.list = {{0}};

    EXPECT_EQ(written(record), R"({"list":[{}]})");
}

TEST(RecordWriting, aFloatIsWidened) {
    EXPECT_EQ(written(Everything{.single = 0.1F}), R"({"single":0.10000000149011612})");
}

TEST(RecordWriting, aStringIsWrittenBehindAnEmbeddedNulToo) {
    const std::string text("a\0b", 3);

    EXPECT_EQ(written(Everything{.text = text, .name = Name(text)}),
              R"({"text":"a\u0000b","name":"a\u0000b"})");
}

TEST(RecordWriting, anUnknownEnumerationValueIsWrittenAsAnEmptyTextAndReported) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(written(Everything{.colour = static_cast<Colour>(9)}), R"({"colour":""})");

    EXPECT_THAT(log.take(), testing::ElementsAre(
                                "debug vxEnum Unknown Colour enum value 9 / colour .cpp:<line>"));
}

TEST(RecordWriting, aNestedRecordIsLeftOutIfItEqualsItsOwnDefaults) {
    EXPECT_EQ(written(Nested()), "{}");
    EXPECT_EQ(written(Nested{{0.0F, Colour::none}}), R"({"inner":{}})");
}
