#include "vx/enum.h"

#include "support/log-capture.h"
#include "vx/exception.h"
#include "vx/log-context.h"
#include "vx/str.h"
#include "vx/system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;
using vx::fromEnum;
using vx::LogSeverity;
using vx::Release;
using vx::toEnum;
using vx::tryToEnum;

namespace town {

enum class Street : std::int32_t { none = 0, north = 1, south = 7 };

vx::EnumTable vxEnum(Street) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"}, {7, "south"}, {1, "north"}, {7, "lower"}, {2, "south"}};
    return {std::begin(x), std::end(x), "town::Street"};
}

} // namespace town

using town::Street;

TEST(FromEnum, givesTheNameOfTheFirstRowWithTheValue) {
    EXPECT_EQ(fromEnum<std::string>(Street::north), "north");
    EXPECT_EQ(fromEnum<std::string>(Street::south), "south");
}

TEST(FromEnum, aValueOnePastTheLastRowYieldsAnEmptyStringAndNoException) {
    EXPECT_EQ(fromEnum<std::string>(static_cast<Release>(4)), "");
}

TEST(ToEnum, givesTheValueOfTheFirstRowWithTheName) {
    EXPECT_EQ(toEnum<Street>("north"), Street::north);
    EXPECT_EQ(toEnum<Street>(std::string("south")), Street::south);
}

TEST(ToEnum, aNameInAnotherCaseYieldsZero) {
    EXPECT_EQ(toEnum<Street>("North"), Street::none);
}

TEST(ToEnum, neitherPrefixNorBlanksMatch) {
    EXPECT_EQ(toEnum<Street>("nort"), Street::none);
    EXPECT_EQ(toEnum<Street>("north "), Street::none);
    EXPECT_EQ(toEnum<Street>(" north"), Street::none);
}

TEST(ToEnum, aTextWithAnEmbeddedNulMatchesNoRowAndIsReportedWhole) {
    DebugCapture log(vx::enumLogChannel().name());
    const std::string text("north\0", 6);

    EXPECT_EQ(toEnum<Street>(text), Street::none);

    EXPECT_THAT(log.take(), ElementsAre("debug vxEnum Unknown town::Street enum option. value:" +
                                        text + " .cpp:<line>"));
}

TEST(ToEnum, anEmptyTextYieldsZeroWithAFailureLine) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(toEnum<Street>(""), Street::none);
    EXPECT_EQ(toEnum<Street>(std::string()), Street::none);

    const std::string line = "debug vxEnum Unknown town::Street enum option. value: .cpp:<line>";
    EXPECT_THAT(log.take(), ElementsAre(line, line));
}

TEST(TryToEnum, holdsTheValueOfAKnownNameAndIsEmptyOtherwise) {
    EXPECT_EQ(tryToEnum<Release>("production"), Release::production);
    EXPECT_EQ(static_cast<int>(*tryToEnum<Release>("production")), 3);
    EXPECT_EQ(tryToEnum<Release>(""), std::nullopt);
    EXPECT_EQ(tryToEnum<Release>(static_cast<const char*>(nullptr)), std::nullopt);
}

TEST(Enum, aValueListedTwiceGivesTheTextOfTheFirstRow) {
    const vx::EnumTable table = vxEnum(LogSeverity::print);

    EXPECT_EQ(table.end - table.begin, 8);
    EXPECT_EQ(table.begin[7].value, 1);
    EXPECT_EQ(table.begin[7].name, "fatal");
    EXPECT_EQ(fromEnum<std::string>(LogSeverity::fatal), "fatal");
    EXPECT_EQ(toEnum<LogSeverity>("fatal"), LogSeverity::fatal);
}

TEST(Enum, theChannelIsNamedVxEnumAndStartsAtNotice) {
    EXPECT_EQ(vx::enumLogChannel().name(), "vxEnum");
    EXPECT_EQ(vx::enumLogChannel().severity, LogSeverity::notice);
}

TEST(Enum, atItsDefaultSeverityNeitherFailureWritesAnything) {
    const LogCapture log;

    EXPECT_EQ(toEnum<Street>("west"), Street::none);
    EXPECT_EQ(fromEnum<std::string>(static_cast<Street>(5)), "");
}

TEST(Enum, belowDebugNoLineIsEvenBuilt) {
    int built = 0;
    const vx::detail::LogContextImpl context([&](std::ostream&) { ++built; });

    for (const auto severity : {LogSeverity::notice, LogSeverity::info}) {
        const ChannelSeverity below(vx::enumLogChannel().name(), severity);
        toEnum<Street>("west");
        fromEnum<std::string>(static_cast<Street>(5));
    }

    EXPECT_EQ(built, 0);
}

TEST(Enum, unknownValueIsReportedAtDebugWithTheContextAheadOfThePosition) {
    DebugCapture log(vx::enumLogChannel().name());
    const int meter = 7;
    VX_LOG_CONTEXT(meter);

    fromEnum<std::string>(static_cast<Street>(-5));

    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown town::Street enum value -5 meter:7 .cpp:<line>"));
}

TEST(Enum, unknownValueThatTheContextHoldsTooIsReportedOnce) {
    DebugCapture log(vx::enumLogChannel().name());
    const auto street = static_cast<Street>(-5);
    VX_LOG_CONTEXT(street);

    fromEnum<std::string>(street);
    fromEnum<std::string>(static_cast<Street>(8));

    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown town::Street enum value -5 street: .cpp:<line>",
                            "debug vxEnum Unknown town::Street enum value 8 street: .cpp:<line>"));
}

TEST(Enum, unknownNameIsReportedBehindAnUnknownValueOfItsContext) {
    DebugCapture log(vx::enumLogChannel().name());
    const auto street = static_cast<Street>(-5);
    VX_LOG_CONTEXT(street);

    toEnum<Street>("west");

    EXPECT_THAT(
        log.take(),
        ElementsAre(
            "debug vxEnum Unknown town::Street enum value -5 street: .cpp:<line>",
            "debug vxEnum Unknown town::Street enum option. value:west street: .cpp:<line>"));
}

TEST(Enum, reportsAgainAfterAReportThatThrew) {
    DebugCapture log(vx::enumLogChannel().name());
    {
        const vx::detail::LogContextImpl context(
            [](std::ostream&) { throw std::runtime_error("no text"); });
        EXPECT_THROW(fromEnum<std::string>(static_cast<Street>(8)), std::runtime_error);
    }

    fromEnum<std::string>(static_cast<Street>(8));

    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown town::Street enum value 8 .cpp:<line>"));
}

TEST(Enum, aReportKeepsNoOtherThreadFromReporting) {
    DebugCapture log(vx::enumLogChannel().name());
    const vx::detail::LogContextImpl context([](std::ostream&) {
        std::thread([] { fromEnum<std::string>(static_cast<Street>(8)); }).join();
    });

    fromEnum<std::string>(static_cast<Street>(9));

    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown town::Street enum value 8 .cpp:<line>",
                            "debug vxEnum Unknown town::Street enum value 9 .cpp:<line>"));
}

TEST(Enum, unknownNameIsReportedAtDebugWithTheContextAheadOfThePosition) {
    DebugCapture log(vx::enumLogChannel().name());

    toEnum<Street>("west");
    toEnum<Street>(static_cast<const char*>(nullptr));
    const int meter = 7;
    VX_LOG_CONTEXT(meter);
    toEnum<Release>("gamma");

    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown town::Street enum option. value:west .cpp:<line>",
                            "debug vxEnum Unknown town::Street enum option. value:null .cpp:<line>",
                            "debug vxEnum Unknown ::vx::Release enum option. value:gamma meter:7 "
                            ".cpp:<line>"));
}

TEST(Enum, tryToEnumNeverReports) {
    const DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(tryToEnum<Street>("west"), std::nullopt);
}

TEST(Enum, streamsAndTextsShowTheName) {
    std::ostringstream stream;
    stream << LogSeverity::warning << ' ' << vx::Exception::Type::overloaded;

    EXPECT_EQ(stream.str(), "warning overloaded");
    EXPECT_EQ(vx::str(Street::north), "north");
}

TEST(Enum, anUnknownValueInAStreamOrATextWritesNothingAndIsReported) {
    DebugCapture log(vx::enumLogChannel().name());
    std::ostringstream stream;

    stream << static_cast<LogSeverity>(9) << '|' << static_cast<vx::Exception::Type>(8);
    const std::string text = vx::str("<", static_cast<Street>(5), ">");

    EXPECT_EQ(stream.str(), "|");
    EXPECT_EQ(text, "<>");
    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown vx::LogSeverity enum value 9 .cpp:<line>",
                            "debug vxEnum Unknown vx::Exception enum value 8 .cpp:<line>",
                            "debug vxEnum Unknown town::Street enum value 5 .cpp:<line>"));
}
