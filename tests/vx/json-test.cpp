#include "vx/json.h"

#include "support/json-calls.h"
#include "support/log-capture.h"
#include "support/thrown-text.h"
#include "vx/record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <sstream>
#include <utility>

namespace {

thread_local bool noMemoryForTheNextObject = false;

} // namespace

/// Fails once when it is told to.
void* operator new(std::size_t size) {
    if (std::exchange(noMemoryForTheNextObject, false))
        throw std::bad_alloc();
    void* memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

using vx::JsonPrimitive;
using vx::makeJsonFragment;
using vx::parseJsonFragment;
using vx::toJson;

namespace {

std::string failureOf(const char* text) {
    return thrownText([text] { parseJsonFragment(text); });
}

JsonPrimitive primitive(const char* text) {
    return vx::FromJson<JsonPrimitive>::call(parseJsonFragment(text).get());
}

std::string written(const JsonPrimitive& value) {
    return toJson(vx::ToJsonFragment<JsonPrimitive>::call(value));
}

} // namespace

TEST(ParseJson, nullGivesAnEmptyPointer) {
    EXPECT_EQ(parseJsonFragment("null").get(), nullptr);
    EXPECT_EQ(parseJsonFragment("null").use_count(), 0);
}

TEST(ParseJson, nullWithAnythingAroundItFailsThoughTheParserReportsNoError) {
    for (const char* text : {" null", "null ", "null\n", "null x"})
        EXPECT_EQ(failureOf(text),
                  "Failed to parse json. success condition:object vx/json.cpp:<line>")
            << text;
}

TEST(ParseJson, anEmptyObjectIsGivenBack) {
    EXPECT_EQ(toJson(parseJsonFragment("{}")), "{}");
}

TEST(ParseJson, anIncompleteTextFailsWithTheStateOfTheParser) {
    EXPECT_EQ(failureOf("{"),
              "Failed to parse json. unexpected end of data condition:object vx/json.cpp:<line>");
}

TEST(ParseJson, anEmptyTextFails) {
    EXPECT_EQ(failureOf(""),
              "Failed to parse json. unexpected end of data condition:object vx/json.cpp:<line>");
}

TEST(ParseJson, aTextThatIsNoJsonFailsWithTheParsersDescription) {
    EXPECT_EQ(failureOf("<html>"),
              "Failed to parse json. unexpected character condition:object vx/json.cpp:<line>");
}

TEST(ParseJson, aFailureOfWhichTheParserHasNoDescriptionSaysNull) {
    const auto without =
        json_calls::tokener_error_desc.replaceBy([](json_tokener_error) { return nullptr; });

    EXPECT_EQ(failureOf("<html>"),
              "Failed to parse json. null condition:object vx/json.cpp:<line>");
}

TEST(ParseJson, logsNothing) {
    const LogCapture log;

    EXPECT_EQ(toJson(parseJsonFragment("{}")), "{}");
    EXPECT_EQ(failureOf("{"),
              "Failed to parse json. unexpected end of data condition:object vx/json.cpp:<line>");
}

TEST(ParseJson, withoutATokenerFailsEvenForNull) {
    const auto without = json_calls::tokener_new.replaceBy([] { return nullptr; });

    EXPECT_EQ(failureOf("null"), "condition:tok vx/json.cpp:<line>");
}

TEST(ParseJson, theLogContextEndsTheText) {
    const int slaveAddress = 3;
    VX_LOG_CONTEXT(slaveAddress);

    EXPECT_EQ(failureOf("x"), "Failed to parse json. unexpected character condition:object "
                              "vx/json.cpp:<line> slaveAddress:3");
}

TEST(ParseJson, whatFollowsTheFirstValueIsIgnored) {
    EXPECT_EQ(toJson(parseJsonFragment(R"({"a":1} trailing)")), R"({"a":1})");
}

TEST(ParseJson, takesWhatTheParserTakesOfItself) {
    EXPECT_EQ(toJson(parseJsonFragment("[1,]")), "[1]");
    EXPECT_EQ(toJson(parseJsonFragment("TRUE")), "true");
    EXPECT_EQ(toJson(parseJsonFragment("\"\xff\"")), "\"\xff\"");
}

TEST(ParseJson, aRawFragmentCanBeAskedForLikeARecord) {
    EXPECT_EQ(toJson(vx::fromJson<std::shared_ptr<json_object>>("[1,2]")), "[1,2]");
}

TEST(JsonFragment, takesOverOneReference) {
    json_object* object = json_object_new_object();
    json_object_get(object);
    {
        const auto fragment = makeJsonFragment(object);
        EXPECT_EQ(fragment.use_count(), 1);
    }

    // The second reference is the last one.
    EXPECT_EQ(json_object_put(object), 1);
}

TEST(JsonFragment, dropsItsReferenceIfItCannotBeMade) {
    json_object* object = json_object_new_object();
    json_object_get(object);

    noMemoryForTheNextObject = true;
    EXPECT_THROW(makeJsonFragment(object), std::bad_alloc);

    // The second reference is the last one.
    EXPECT_EQ(json_object_put(object), 1);
}

TEST(JsonFragment, ofANullObjectIsJsonNull) {
    EXPECT_EQ(toJson(makeJsonFragment(nullptr)), "null");
}

TEST(ToJson, ofAnEmptyPointerGivesNull) {
    EXPECT_EQ(toJson(nullptr), "null");
}

TEST(ToJson, writesNeitherBlanksNorLineBreaks) {
    EXPECT_EQ(toJson(parseJsonFragment("{ \"a\" : [ 1 , 2.5 ,\n true ] }")),
              R"({"a":[1,2.5,true]})");
}

TEST(ToJson, escapesASlash) {
    EXPECT_EQ(toJson(parseJsonFragment(R"("/dev/tty")")), R"("\/dev\/tty")");
}

TEST(CompareJson, isDeepAndBlindToTheOrderOfKeys) {
    const auto left = parseJsonFragment(R"({"a":1,"b":[2]})");

    EXPECT_TRUE(left == parseJsonFragment(R"({"b":[2],"a":1})"));
    EXPECT_FALSE(left != parseJsonFragment(R"({"b":[2],"a":1})"));
    EXPECT_TRUE(left != parseJsonFragment(R"({"b":[3],"a":1})"));
}

TEST(CompareJson, aTrueThatWasMadeEqualsOneThatWasRead) {
    const auto read = parseJsonFragment("true");

    EXPECT_TRUE(vx::toJsonFragment(true) == read);
    EXPECT_TRUE(vx::ToJsonFragment<JsonPrimitive>::call(true) == read);
}

TEST(CompareJson, anEmptyPointerEqualsOnlyAnotherOne) {
    const std::shared_ptr<json_object> empty;

    EXPECT_TRUE(empty == parseJsonFragment("null"));
    EXPECT_TRUE(empty != parseJsonFragment("{}"));
}

TEST(StreamJson, writesTheText) {
    const auto fragment = parseJsonFragment(R"({"a":1})");
    std::ostringstream stream;
    stream << fragment;

    EXPECT_EQ(stream.str(), R"({"a":1})");
    EXPECT_EQ(vx::str(fragment), R"({"a":1})");
}

TEST(JsonPrimitiveValue, isReadByItsType) {
    EXPECT_EQ(primitive("null"), JsonPrimitive());
    EXPECT_EQ(primitive("true"), JsonPrimitive(true));
    EXPECT_EQ(primitive("false"), JsonPrimitive(false));
    EXPECT_EQ(primitive("2.5"), JsonPrimitive(2.5));
    EXPECT_EQ(primitive("3"), JsonPrimitive(3.0));
    EXPECT_EQ(primitive(R"("x")"), JsonPrimitive(std::string("x")));
}

TEST(JsonPrimitiveValue, aLargeIntegerLosesPrecision) {
    EXPECT_EQ(primitive("9007199254740993"), JsonPrimitive(9007199254740992.0));
}

TEST(JsonPrimitiveValue, aNumberBeyond64BitsIsADouble) {
    EXPECT_EQ(primitive("1e30"), JsonPrimitive(1e30));
    // The parser clamps an integer to its unsigned range.
    EXPECT_EQ(primitive("99999999999999999999"), JsonPrimitive(18446744073709551615.0));
}

TEST(JsonPrimitiveValue, anObjectAndAnArrayFail) {
    EXPECT_EQ(thrownText([] { primitive("{}"); }),
              "Expecting json primitive value. type:4 vx/json.cpp:<line>");
    EXPECT_EQ(thrownText([] { primitive("[]"); }),
              "Expecting json primitive value. type:5 vx/json.cpp:<line>");
}

TEST(JsonPrimitiveValue, isWrittenByItsAlternative) {
    EXPECT_EQ(vx::ToJsonFragment<JsonPrimitive>::call({}).use_count(), 0);
    EXPECT_EQ(written(true), "true");
    EXPECT_EQ(written(false), "false");
    EXPECT_EQ(written(2.5), "2.5");
    EXPECT_EQ(written(std::string("a\0b", 3)), R"("a\u0000b")");
}

TEST(JsonPrimitiveValue, aNumberThatIsNotFiniteIsWrittenAsNull) {
    for (const double value :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        const auto fragment = vx::ToJsonFragment<JsonPrimitive>::call(value);
        EXPECT_EQ(fragment.use_count(), 1);
        EXPECT_EQ(toJson(fragment), "null");
    }
}
