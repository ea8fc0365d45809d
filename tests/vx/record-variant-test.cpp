#include "sample-records.h"
#include "vx/record.h"

#include <gtest/gtest.h>

using namespace sample;

namespace {

struct Kitten {
    std::string type = "cat";
    int lives = 0;

    bool operator==(const Kitten&) const = default;
    VX_FIELDS(Kitten, type, lives)
};

/// Two alternatives of the same text.
using Feline = std::variant<std::monostate, Cat, Kitten>;

struct Household {
    std::vector<Owner> owners = {};

    VX_FIELDS(Household, owners)
};

} // namespace

template <>
struct vx::JsonVariantTraits<Feline> {
    static constexpr const char* key = "type";
    static constexpr const char* alternatives[] = {"", "cat", "cat"};
};

TEST(RecordVariant, theTextOfTheTypeDecides) {
    EXPECT_EQ(read<Owner>(R"({"pet":{"type":"cat","lives":7}})").pet, Pet(Cat{"cat", 7}));
    EXPECT_EQ(read<Owner>(R"({"pet":{"type":"dog"}})").pet, Pet(Dog()));
}

TEST(RecordVariant, anUnknownAnAbsentANullAndAnEmptyTypeGiveIndexZeroWithoutALine) {
    const DebugCapture silence(vx::enumLogChannel().name());

    for (const char* pet : {R"({"pet":{"type":"fish"}})", R"({"pet":{}})",
                            R"({"pet":{"type":null}})", R"({"pet":{"type":""}})"})
        EXPECT_EQ(read<Owner>(pet).pet.index(), 0) << pet;
}

TEST(RecordVariant, aValueThatIsNoObjectGivesIndexZeroWithoutALine) {
    const DebugCapture silence(vx::enumLogChannel().name());

    for (const char* pet : {R"({"pet":5})", R"({"pet":"cat"})", R"({"pet":[]})"})
        EXPECT_EQ(read<Owner>(pet).pet.index(), 0) << pet;
}

TEST(RecordVariant, aNullPointerGivesIndexZero) {
    EXPECT_EQ(vx::fromJson<Pet>(static_cast<json_object*>(nullptr)).index(), 0);
    EXPECT_EQ(read<std::vector<Pet>>(R"([null,{"type":"dog"}])"), (std::vector<Pet>{Pet(), Dog()}));
}

TEST(RecordVariant, theLastOfTwoAlternativesWithTheSameTextIsTaken) {
    EXPECT_EQ(read<Feline>(R"({"type":"cat","lives":7})"), Feline(Kitten{"cat", 7}));
}

TEST(RecordVariant, aTypeThatIsNoStringFails) {
    EXPECT_EQ(failure<Owner>(R"({"pet":{"type":5}})"),
              "Expecting json string type:3 condition:type == json_type_string vx/record.h:<line> "
              "/ pet");
}

TEST(RecordVariant, indexZeroIsLeftOutAndADefaultAlternativeIsWrittenWithItsType) {
    const Pet none;

    EXPECT_EQ(written(Owner{none}), "{}");
    EXPECT_EQ(written(Owner{Cat()}), R"({"pet":{"type":"cat"}})");
    EXPECT_EQ(vx::toJsonFragment(none).use_count(), 0);
}

TEST(RecordVariant, anOverwrittenOrClearedTypeCannotBeWritten) {
    const std::string expected = "Invalid alternative value for given altenative type "
                                 "traitAlternative:cat alternative:";
    EXPECT_EQ(failureToWrite(Owner{Cat{"dog", 1}}),
              expected + "dog condition:traitAlternative == alternative vx/record.h:<line> / pet");
    EXPECT_EQ(failureToWrite(Owner{Cat{"", 1}}),
              expected + " condition:traitAlternative == alternative vx/record.h:<line> / pet");
}

TEST(RecordVariant, aPrimitiveIsAFieldKindOfItsOwn) {
    const Owner owner = read<Owner>(R"({"note":"x"})");

    EXPECT_EQ(owner.note, vx::JsonPrimitive(std::string("x")));
    EXPECT_EQ(written(owner), R"({"note":"x"})");
    EXPECT_EQ(text(owner), R"({"note":x})");
}

// What counts as absent is the empty variant and not the zero of an alternative.
TEST(RecordVariant, aPrimitiveIsLeftOutOnlyIfItIsNull) {
    EXPECT_EQ(written(Owner{.pet = {}, .note = {}}), "{}");
    EXPECT_EQ(written(Owner{.pet = {}, .note = false}), R"({"note":false})");
    EXPECT_EQ(written(Owner{.pet = {}, .note = 0.0}), R"({"note":0.0})");
    EXPECT_EQ(written(Owner{.pet = {}, .note = std::string()}), R"({"note":""})");
}

TEST(RecordVariant, aTypeThatCannotBeWrittenCarriesItsKeysAndIndices) {
    EXPECT_EQ(failureToWrite(Household{{Owner{Dog()}, Owner{Cat{"dog", 1}}}}),
              "Invalid alternative value for given altenative type traitAlternative:cat "
              "alternative:dog condition:traitAlternative == alternative vx/record.h:<line> "
              "/ pet / 1 / owners");
}
