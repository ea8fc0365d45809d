#include "vx/record.h"

#include "support/thrown-text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace {

using Name = vx::Identifier<struct NameTag>;

enum class Colour : std::int32_t { none = 0, red = 1, green = 2 };

vx::EnumTable vxEnum(Colour) {
    static constexpr vx::EnumRow x[] = {{0, "none"}, {1, "red"}, {2, "green"}};
    return {std::begin(x), std::end(x), "Colour"};
}

struct Inner {
    int number = 0;

    bool operator==(const Inner&) const = default;
    VX_FIELDS(Inner, number)
};

/// One field of each kind.
struct Everything {
    bool flag = false;
    std::int8_t tiny = 0;
    std::uint8_t byte = 0;
    std::uint16_t word = 0;
    std::int32_t number = 0;
    float single = 0.0F;
    double real = 0.0;
    std::string text = {};
    Name name = {};
    Colour colour = Colour::none;
    vx::DateTime time = {};
    std::optional<double> maybe = {};
    std::vector<Inner> list = {};
    std::vector<double> reals = {};
    Inner inner = {};

    bool operator==(const Everything&) const = default;
    VX_FIELDS(Everything, flag, tiny, byte, word, number, single, real, text, name, colour, time,
              maybe, list, reals, inner)
};

/// Defaults that are not zero.
struct Defaults {
    float scale = 1.0F;
    Colour colour = Colour::green;

    bool operator==(const Defaults&) const = default;
    VX_FIELDS(Defaults, scale, colour)
};

struct Cat {
    std::string type = "cat";
    int lives = 0;

    bool operator==(const Cat&) const = default;
    VX_FIELDS(Cat, type, lives)
};

struct Dog {
    std::string type = "dog";

    bool operator==(const Dog&) const = default;
    VX_FIELDS(Dog, type)
};

using Pet = std::variant<std::monostate, Cat, Dog>;

} // namespace

template <>
struct vx::JsonVariantTraits<Pet> {
    static constexpr const char* key = "type";
    static constexpr const char* alternatives[] = {"", "cat", "dog"};
};

namespace {

struct Owner {
    Pet pet;
    vx::JsonPrimitive note = {};

    bool operator==(const Owner&) const = default;
    VX_FIELDS(Owner, pet, note)
};

Everything full() {
    Everything r;
    r.flag = true;
    r.tiny = -5;
    r.byte = 200;
    r.word = 65535;
    r.number = -2147483647;
    r.single = 1.5F;
    r.real = 2.25;
    r.text = "a \"b\"";
    r.name = Name("n");
    r.colour = Colour::red;
    r.time = vx::toDateTime(std::string("2026-11-14T02:24:09.123Z"));
    r.maybe = 0.0;
    r.list = {{1}, {2}};
    r.reals = {0.5, 0.0};
    r.inner = {3};
    return r;
}

template <class R>
R read(const char* text) {
    return vx::fromJson<R>(text);
}

template <class R>
std::string failure(const char* text) {
    return thrownText([text] { vx::fromJson<R>(text); });
}

template <class R>
std::string written(const R& record) {
    return vx::toJson(vx::toJsonFragment(record));
}

template <class R>
std::string text(const R& record) {
    return vx::str(record);
}

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
    const LogCapture log;

    EXPECT_EQ(read<Inner>(R"({"number":3,"other":[1]})"), Inner{3});
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

TEST(RecordReading, optionalIsEngagedByAnyNumber) {
    EXPECT_EQ(read<Everything>(R"({"maybe":0})").maybe, 0.0);
    EXPECT_EQ(read<Everything>(R"({"maybe":null})").maybe, std::nullopt);
}

TEST(RecordReading, aRecordFromANonObjectFails) {
    EXPECT_EQ(failure<Inner>("[]"), "Expecting json object. jsonType:5 condition:jsonType == "
                                    "json_type_object vx/record.h:<line>");
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

TEST(RecordWriting, leavingOutLooksAtZeroAndNotAtTheMembersDefault) {
    EXPECT_EQ(written(Defaults()), R"({"scale":1.0,"colour":"green"})");
    EXPECT_EQ(written(Defaults{0.0F, Colour::none}), "{}");
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
    for (const double value :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        Everything record;
        record.real = value;
        EXPECT_EQ(written(record), R"({"real":null})");
        EXPECT_EQ(read<Everything>(written(record).c_str()).real, 0.0);
    }
}

TEST(RecordWriting, anEmptyElementOfAListIsKept) {
    Everything record;
    record.list = {{0}};

    EXPECT_EQ(written(record), R"({"list":[{}]})");
}

TEST(RecordVariant, theTextOfTheTypeDecides) {
    EXPECT_EQ(read<Owner>(R"({"pet":{"type":"cat","lives":7}})").pet, Pet(Cat{"cat", 7}));
    EXPECT_EQ(read<Owner>(R"({"pet":{"type":"dog"}})").pet, Pet(Dog()));
}

TEST(RecordVariant, anUnknownAnAbsentANullAndAnEmptyTypeGiveIndexZeroWithoutALine) {
    const LogCapture log;

    for (const char* pet : {R"({"pet":{"type":"fish"}})", R"({"pet":{}})",
                            R"({"pet":{"type":null}})", R"({"pet":{"type":""}})"})
        EXPECT_EQ(read<Owner>(pet).pet.index(), 0) << pet;
}

TEST(RecordVariant, aTypeThatIsNoStringFails) {
    EXPECT_EQ(failure<Owner>(R"({"pet":{"type":5}})"),
              "Expecting json string type:3 condition:type == json_type_string vx/record.h:<line> "
              "/ pet");
}

TEST(RecordVariant, indexZeroIsLeftOutAndADefaultAlternativeIsWrittenWithItsType) {
    EXPECT_EQ(written(Owner{Pet()}), "{}");
    EXPECT_EQ(written(Owner{Cat()}), R"({"pet":{"type":"cat"}})");
    EXPECT_EQ(vx::toJsonFragment(Pet()).use_count(), 0);
}

TEST(RecordVariant, anOverwrittenOrClearedTypeCannotBeWritten) {
    const std::string expected = "Invalid alternative value for given altenative type "
                                 "traitAlternative:cat alternative:";
    EXPECT_EQ(thrownText([] {
                  written(Owner{Cat{"dog", 1}});
              }),
              expected + "dog condition:traitAlternative == alternative vx/record.h:<line> / pet");
    EXPECT_EQ(thrownText([] {
                  written(Owner{Cat{"", 1}});
              }),
              expected + " condition:traitAlternative == alternative vx/record.h:<line> / pet");
}

TEST(RecordVariant, aPrimitiveIsAFieldKindOfItsOwn) {
    const Owner owner = read<Owner>(R"({"note":"x"})");

    EXPECT_EQ(owner.note, vx::JsonPrimitive(std::string("x")));
    EXPECT_EQ(written(owner), R"({"note":"x"})");
    EXPECT_EQ(text(owner), R"({"note":x})");
}

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

TEST(RecordText, anOptionalInAListOfItsOwnShowsNull) {
    std::ostringstream stream;
    vx::detail::TextForm<std::optional<double>>::write(stream, std::nullopt);

    EXPECT_EQ(stream.str(), "null");
}

TEST(RecordText, aListAsAnItemOfAMessageHasTheSameForm) {
    EXPECT_EQ(vx::str(std::vector<Inner>{{1}, {0}}), R"([{"number":1},{}])");
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
