#include "vx/exception.h"

#include "support/thrown-text.h"
#include "vx/enum.h"

#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

using vx::Exception;
using Type = vx::Exception::Type;

namespace {

void expectException(const Exception& e, Type type, const std::string& userMessage) {
    EXPECT_STREQ(e.what(), "x");
    EXPECT_EQ(e.type(), type);
    EXPECT_EQ(e.userMessage(), userMessage);
}

const std::string text = "x";

} // namespace

TEST(Exception, isARuntimeErrorWithNothingButAPointerBesides) {
    static_assert(std::is_base_of_v<std::runtime_error, Exception>);
    static_assert(std::has_virtual_destructor_v<Exception>);
    EXPECT_EQ(sizeof(Exception), sizeof(std::runtime_error) + sizeof(std::shared_ptr<void>));
}

TEST(Exception, ofTextAloneIsFailedWithoutUserMessage) {
    expectException(Exception("x"), Type::failed, "");
    expectException(Exception(text), Type::failed, "");
}

TEST(Exception, ofTypeAndTextHasThatTypeAndNoUserMessage) {
    expectException(Exception(Type::disconnected, "x"), Type::disconnected, "");
    expectException(Exception(Type::overloaded, text), Type::overloaded, "");
}

TEST(Exception, ofTextAndUserMessageIsFailed) {
    expectException(Exception(text, "Please wait"), Type::failed, "Please wait");
}

TEST(Exception, ofAllThreeHasThemAll) {
    expectException(Exception(Type::unimplemented, text, "Not here"), Type::unimplemented,
                    "Not here");
}

TEST(Exception, withoutBodySharesOneEmptyUserMessage) {
    EXPECT_EQ(&Exception("x").userMessage(), &Exception("y").userMessage());
    EXPECT_NE(&Exception("x").userMessage(), &Exception(Type::failed, "x").userMessage());
}

TEST(Exception, userMessageWithoutBodyOutlivesTheException) {
    const std::string* message = nullptr;
    {
        const Exception e("x");
        message = &e.userMessage();
    }

    EXPECT_EQ(*message, "");
}

TEST(Exception, copiesShareTheirBody) {
    const Exception original(text, "Please wait");
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tested
    const Exception copy = original;

    EXPECT_EQ(&copy.userMessage(), &original.userMessage());
    EXPECT_STREQ(copy.what(), "x");
}

TEST(ExceptionType, namesAreThoseOfTheTable) {
    EXPECT_EQ(vx::fromEnum<std::string>(Type::failed), "failed");
    EXPECT_EQ(vx::fromEnum<std::string>(Type::overloaded), "overloaded");
    EXPECT_EQ(vx::fromEnum<std::string>(Type::disconnected), "disconnected");
    EXPECT_EQ(vx::fromEnum<std::string>(Type::unimplemented), "unimplemented");
}

TEST(ExceptionType, valuesAreThoseOfTheTable) {
    EXPECT_EQ(static_cast<int>(Type::failed), 0);
    EXPECT_EQ(static_cast<int>(Type::overloaded), 1);
    EXPECT_EQ(static_cast<int>(Type::disconnected), 2);
    EXPECT_EQ(static_cast<int>(Type::unimplemented), 3);
}

TEST(ExceptionType, tableIsRegisteredUnderTheNameOfTheException) {
    EXPECT_STREQ(vxEnum(Type::failed).name, "vx::Exception");
    EXPECT_EQ(vxEnum(Type::failed).end - vxEnum(Type::failed).begin, 4);
}

TEST(ExceptionType, streamsAsItsName) {
    std::ostringstream stream;

    stream << Type::disconnected;

    EXPECT_EQ(stream.str(), "disconnected");
}

TEST(Throw, textHasItemsAndPositionAndNoTrailingBlank) {
    const std::string filename = "/etc/x";

    EXPECT_EQ(thrownText([&] { VX_THROW("Failed to read file", filename, 1 + 1); }),
              "Failed to read file filename:/etc/x 1 + 1:2 tests/vx/exception-test.cpp:<line>");
}

TEST(Throw, itemsAreEvaluatedFromLeftToRight) {
    int number = 0;
    const auto next = [&] { return ++number; };

    EXPECT_EQ(thrownText([&] { VX_THROW(next(), next(), next()); }),
              "next():1 next():2 next():3 tests/vx/exception-test.cpp:<line>");
    EXPECT_EQ(thrownText([&] { VX_THROW_UNLESS(number == 0, next(), next(), next()); }),
              "next():4 next():5 next():6 condition:number == 0 "
              "tests/vx/exception-test.cpp:<line>");
}

TEST(Throw, contextFollowsThePosition) {
    const int outer = 1;
    const int inner = 2;
    VX_LOG_CONTEXT(outer);
    VX_LOG_CONTEXT(inner);

    EXPECT_EQ(thrownText([] { VX_THROW("Broken."); }),
              "Broken. tests/vx/exception-test.cpp:<line> inner:2 outer:1");
}

TEST(Throw, exceptionIsOfTheDefaultTypeWithoutUserMessage) {
    try {
        VX_THROW("x");
    } catch (const Exception& e) {
        EXPECT_EQ(e.type(), Type::failed);
        EXPECT_EQ(&e.userMessage(), &Exception("none").userMessage());
    }
}

TEST(ThrowUnless, conditionThatHoldsThrowsNothing) {
    EXPECT_EQ(thrownText([] { VX_THROW_UNLESS(1 < 2, "Never."); }), "nothing thrown");
}

TEST(ThrowUnless, sourceTextOfTheConditionStandsBetweenItemsAndPosition) {
    const int size = 3;

    EXPECT_EQ(thrownText([&] { VX_THROW_UNLESS(size >= 20 && size != 21, "Too short.", size); }),
              "Too short. size:3 condition:size >= 20 && size != 21 "
              "tests/vx/exception-test.cpp:<line>");
}

TEST(ThrowUnless, withoutItemsBeginsWithTheCondition) {
    const bool in = false;
    VX_LOG_CONTEXT(in);

    EXPECT_EQ(thrownText([&] { VX_THROW_UNLESS(in); }),
              "condition:in tests/vx/exception-test.cpp:<line> in:0");
}

TEST(ThrowUnless, evaluatesItsItemsOnlyWhenItThrows) {
    int evaluated = 0;

    VX_THROW_UNLESS(true, ++evaluated);

    EXPECT_EQ(evaluated, 0);
}
