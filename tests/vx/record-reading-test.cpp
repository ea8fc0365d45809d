#include "sample-records.h"
#include "vx/record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace sample;

namespace {

struct Palette {
    std::vector<Defaults> palette = {};

    VX_FIELDS(Palette, palette)
};

} // namespace

TEST(RecordReading, aNullPointerTheTextNullAndAnEmptyObjectGiveEqualRecords) {
    EXPECT_EQ(vx::fromJson<Defaults>(static_cast<json_object*>(nullptr)), Defaults());
    EXPECT_EQ(read<Defaults>("null"), Defaults());
    EXPECT_EQ(read<Defaults>("{}"), Defaults());
}

TEST(RecordReading, jsonNullKeepsTheMembersDefault) {
    EXPECT_EQ(read<Defaults>(R"({"scale":null,"colour":null})"), Defaults());
    EXPECT_EQ(read<Owner>(R"({"pet":null,"note":null})"), Owner());
}

TEST(RecordReading, anUnknownKeyIsIgnoredWithoutALine) {
    const DebugCapture silence(vx::enumLogChannel().name());

    EXPECT_EQ(read<Inner>(R"({"number":3,"other":[1]})"), Inner{3});
}

TEST(RecordReading, aKeyMayDifferFromTheMembersName) {
    EXPECT_EQ(read<Renamed>(R"({"no":3})").number, 3);
    EXPECT_EQ(read<Renamed>(R"({"number":3})").number, 0);
    EXPECT_EQ(failure<Renamed>(R"({"no":[]})"),
              "Expecting json number / string. type:5 condition:type == json_type_string || type "
              "== json_type_int || type == json_type_double vx/record.h:<line> / no");
}

TEST(RecordReading, everyKindIsReadBackFromItsWrittenForm) {
    EXPECT_EQ(read<Everything>(written(full()).c_str()), full());
}

TEST(RecordReading, numbersAreReadFromDoubleIntAndString) {
    EXPECT_EQ(read<Inner>(R"({"number":3.9})"), Inner{3});
    EXPECT_EQ(read<Inner>(R"({"number":"42"})"), Inner{42});
    EXPECT_EQ(read<Everything>(R"({"real":"2.5"})").real, 2.5);
    EXPECT_EQ(read<Everything>(R"({"single":7})").single, 7.0F);
}

TEST(RecordReading, aStringThatIsNoNumberGivesTheLibrarysResult) {
    EXPECT_EQ(read<Inner>(R"({"number":"abc"})"), Inner{0});
    EXPECT_EQ(read<Defaults>(R"({"scale":"abc"})").scale, 0.0F);
}

TEST(RecordReading, aFloatBeyondItsRangeIsNotChecked) {
    EXPECT_TRUE(std::isinf(read<Everything>(R"({"single":1e300})").single));
}

TEST(RecordReading, anUnknownEnumerationNameGivesValueZeroAndNotTheDefault) {
    EXPECT_EQ(read<Defaults>(R"({"colour":"pink"})").colour, Colour::none);
}

TEST(RecordReading, aNullElementYieldsADefaultElement) {
    EXPECT_EQ(read<Everything>(R"({"reals":[1.5,null]})").reals, (std::vector<double>{1.5, 0.0}));
    EXPECT_EQ(read<Everything>(R"({"list":[null,{"number":1}]})").list,
              (std::vector<Inner>{{0}, {1}}));
}

TEST(RecordReading, aListTakesTheMemoryOfAllItsElementsAtOnce) {
    EXPECT_EQ(read<std::vector<double>>("[1,2,3]").capacity(), 3);
}

TEST(RecordReading, optionalIsEngagedByAnyNumber) {
    EXPECT_EQ(read<Everything>(R"({"maybe":0})").maybe, 0.0);
    EXPECT_EQ(read<Everything>(R"({"maybe":null})").maybe, std::nullopt);
}

TEST(RecordReading, aRecordFromANonObjectFails) {
    EXPECT_EQ(failure<Inner>("[]"), "Expecting json object. jsonType:5 condition:jsonType == "
                                    "json_type_object vx/record.h:<line>");
}

TEST(RecordReading, aFailureHasTheDefaultTypeAndNoTextForAPerson) {
    try {
        read<Inner>("[]");
        FAIL() << "A list was read as a record";
    } catch (const vx::Exception& e) {
        EXPECT_EQ(e.type(), vx::Exception::Type::failed);
        EXPECT_EQ(e.userMessage(), "");
    }
}

TEST(RecordReading, aVectorFromANonArrayFails) {
    EXPECT_EQ(failure<Everything>(R"({"list":{}})"),
              "Expecting json array. jsonType:4 condition:jsonType == json_type_array "
              "vx/record.h:<line> / list");
}

TEST(RecordReading, aNumberFromAnythingButDoubleIntOrStringFails) {
    const std::string expected =
        "Expecting json number / string. type:1 condition:type == json_type_string || type == "
        "json_type_int || type == json_type_double vx/record.h:<line> / ";
    EXPECT_EQ(failure<Everything>(R"({"number":true})"), expected + "number");
    EXPECT_EQ(failure<Everything>(R"({"real":true})"), expected + "real");
    EXPECT_EQ(failure<Everything>(R"({"maybe":true})"), expected + "maybe");
}

TEST(RecordReading, aStringOrATimePointFromANonStringFails) {
    const std::string expected =
        "Expecting json string type:3 condition:type == json_type_string vx/record.h:<line> / ";
    EXPECT_EQ(failure<Everything>(R"({"text":1})"), expected + "text");
    EXPECT_EQ(failure<Everything>(R"({"name":1})"), expected + "name");
    EXPECT_EQ(failure<Everything>(R"({"time":1})"), expected + "time");
}

TEST(RecordReading, anEnumerationFromANonStringFails) {
    EXPECT_EQ(failure<Everything>(R"({"colour":1})"),
              "Expecting json string. jsonType:3 condition:jsonType == json_type_string "
              "vx/record.h:<line> / colour");
}

TEST(RecordReading, aBooleanFromANonBooleanFails) {
    EXPECT_EQ(failure<Everything>(R"({"flag":"true"})"),
              "Expecting json boolen. type:6 condition:type == json_type_boolean "
              "vx/record.h:<line> / flag");
}

TEST(RecordReading, anIntegerOutOfItsRangeFails) {
    const std::string condition =
        " condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:<line> / ";
    EXPECT_EQ(failure<Everything>(R"({"byte":256})"),
              "Narrowing error. t:0 u:256" + condition + "byte");
    EXPECT_EQ(failure<Everything>(R"({"byte":-1})"),
              "Narrowing error. t:255 u:-1" + condition + "byte");
    EXPECT_EQ(failure<Everything>(R"({"tiny":128})"),
              "Narrowing error. t:-128 u:128" + condition + "tiny");
    EXPECT_EQ(failure<Everything>(R"({"number":5000000000})"),
              "Narrowing error. t:705032704 u:5000000000" + condition + "number");
}

TEST(RecordReading, aTimeThatCannotBeReadPassesUnchanged) {
    EXPECT_EQ(failure<Everything>(R"({"time":"2009-01-02T09:00:00+01:00"})"),
              "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z "
              "s:2009-01-02T09:00:00+01:00 condition:boost::ends_with(s, \"Z\") "
              "vx/date-time.cpp:<line> / time");
}

TEST(RecordReading, aFailureCarriesAllItsKeysAndIndicesInnermostFirst) {
    EXPECT_EQ(
        failure<Everything>(R"({"list":[{},{"number":"1"},{"number":[]}]})"),
        "Expecting json number / string. type:5 condition:type == json_type_string || type "
        "== json_type_int || type == json_type_double vx/record.h:<line> / number / 2 / list");
}

TEST(RecordReading, afterAFailureTheLogContextIsAsItWas) {
    const int outer = 1;
    VX_LOG_CONTEXT(outer);
    const vx::LogContext* before = vx::logContext();

    failure<Everything>(R"({"list":[{"number":[]}]})");

    EXPECT_EQ(vx::logContext(), before);
}

TEST(RecordReading, aStringIsCutAtAnEmbeddedNul) {
    EXPECT_EQ(read<Everything>(R"({"text":"a\u0000b"})").text, "a");
    EXPECT_EQ(read<Everything>(R"({"name":"a\u0000b"})").name, Name("a"));
    EXPECT_EQ(read<Everything>(R"({"colour":"red\u0000x"})").colour, Colour::red);
    EXPECT_EQ(read<Owner>(R"({"note":"a\u0000b"})").note, vx::JsonPrimitive(std::string("a")));
}

TEST(RecordReading, anUnknownEnumerationNameIsReportedWithItsKeysAndIndices) {
    DebugCapture log(vx::enumLogChannel().name());

    read<Palette>(R"({"palette":[{},{"colour":"pink"}]})");

    EXPECT_THAT(log.take(), testing::ElementsAre("debug vxEnum Unknown Colour enum option. "
                                                 "value:pink / colour / 1 / palette .cpp:<line>"));
}

TEST(RecordReading, aPrimitiveFromAnObjectOrAnArrayFails) {
    const std::string text = "Expecting json primitive value. type:";

    EXPECT_EQ(failure<Owner>(R"({"note":{}})"), text + "4 vx/json.cpp:<line> / note");
    EXPECT_EQ(failure<Owner>(R"({"note":[]})"), text + "5 vx/json.cpp:<line> / note");
}
