#include "logger.h"

#include "support/log-capture.h"
#include "support/thrown-text.h"
#include "vx/log-context.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using orv::aLogSeverity;
using orv::Logger;
using orv::vxLogSeverityToLogSeverity;
using testing::ElementsAre;
using vx::LogSeverity;

TEST(LoggerBridge, isTheChannelSystemAtNotice) {
    EXPECT_EQ(Logger::getInstance()->name(), "System");
    EXPECT_EQ(Logger::getInstance()->severity, LogSeverity::notice);
    EXPECT_EQ(Logger::getInstance(), Logger::getInstance());
}

TEST(LoggerBridge, theTwoScalesRunInOppositeDirections) {
    Logger::getInstance();
    DebugCapture log("System");

    for (unsigned severity = 0; severity <= 5; ++severity)
        Logger::log("x", static_cast<aLogSeverity>(severity));

    EXPECT_THAT(log.take(), ElementsAre("debug System x ", "info System x ", "notice System x ",
                                        "warning System x ", "error System x ", "fatal System x "));
}

TEST(LoggerBridge, appendsOneBlankAndTheLogContextAndNoPosition) {
    LogCapture log;
    const int meter = 7;
    VX_LOG_CONTEXT(meter);

    Logger::log("hello", aLogSeverity::notice);

    EXPECT_THAT(log.take(), ElementsAre("notice System hello meter:7 "));
}

TEST(LoggerBridge, aMessageThatDoesNotPassPrintsAndBuildsNothing) {
    const LogCapture log;
    bool built = false;
    const vx::detail::LogContextImpl context([&](std::ostream&) { built = true; });

    Logger::log("x", aLogSeverity::debug);

    EXPECT_FALSE(built);
}

TEST(LoggerBridge, logsOnAnotherChannel) {
    LogCapture log;
    const orv::LogChannel channel("old", LogSeverity::warning);

    Logger::log(channel, "passes", aLogSeverity::warning);
    Logger::log(channel, "does not", aLogSeverity::notice);

    EXPECT_THAT(log.take(), ElementsAre("warning old passes "));
}

TEST(LoggerBridge, theLoggerIsItselfAChannel) {
    LogCapture log;
    const int meter = 7;

    VX_LOG(*Logger::getInstance(), notice, "x", meter);
    Logger::getInstance()->log(LogSeverity::warning, "y");

    EXPECT_THAT(log.take(), ElementsAre("notice System x meter:7 tests/logger-test.cpp:<line>",
                                        "warning System y"));
}

TEST(LoggerBridge, aSeverityAboveFiveThrowsWhateverTheChannelsIs) {
    const LogCapture log;
    const orv::LogChannel quietest("old", LogSeverity::print);
    const auto thrownBy = [&](unsigned severity) {
        return thrownText([&] { Logger::log(quietest, "x", static_cast<aLogSeverity>(severity)); });
    };

    EXPECT_EQ(thrownBy(6),
              "Cannot convert orv log severity static_cast<int>(x):6 logger.cpp:<line>");
    // On the other scale this is beyond debug, which no channel lets pass.
    EXPECT_EQ(thrownBy(4294967295U),
              "Cannot convert orv log severity static_cast<int>(x):-1 logger.cpp:<line>");
}

TEST(LoggerBridge, severitiesConvertBack) {
    EXPECT_EQ(vxLogSeverityToLogSeverity(LogSeverity::fatal), aLogSeverity::fatal);
    EXPECT_EQ(vxLogSeverityToLogSeverity(LogSeverity::error), aLogSeverity::error);
    EXPECT_EQ(vxLogSeverityToLogSeverity(LogSeverity::warning), aLogSeverity::warning);
    EXPECT_EQ(vxLogSeverityToLogSeverity(LogSeverity::notice), aLogSeverity::notice);
    EXPECT_EQ(vxLogSeverityToLogSeverity(LogSeverity::info), aLogSeverity::info);
    EXPECT_EQ(vxLogSeverityToLogSeverity(LogSeverity::debug), aLogSeverity::debug);
}

TEST(LoggerBridge, printAndNumbersBeyondTheScaleDoNotConvertBack) {
    EXPECT_EQ(thrownText([] { vxLogSeverityToLogSeverity(LogSeverity::print); }),
              "Cannot convert vx log severity x:print logger.cpp:<line>");
    EXPECT_EQ(thrownText([] { vxLogSeverityToLogSeverity(static_cast<LogSeverity>(7)); }),
              "Cannot convert vx log severity x: logger.cpp:<line>");
}
