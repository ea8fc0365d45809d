#include "vx/log.h"

#include "child-process.h"
#include "support/log-capture.h"
#include "support/log-function.h"
#include "support/thrown-text.h"
#include "vx/enum.h"
#include "vx/exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <sstream>
#include <thread>
#include <type_traits>
#include <unistd.h>

using vx::LogChannel;
using vx::Logger;
using vx::LogSeverity;
using vx::detail::LogPosition;

namespace {

Logger& logger() {
    return Logger::instance();
}

std::vector<std::string> channelNames() {
    std::vector<std::string> names;
    for (const auto& channel : logger().channelSeverities())
        names.push_back(channel.name);
    return names;
}

} // namespace

TEST(LogSeverity, valuesAreThoseOfTheTable) {
    static_assert(std::is_same_v<std::underlying_type_t<LogSeverity>, std::int32_t>);
    EXPECT_EQ(static_cast<int>(LogSeverity::print), 0);
    EXPECT_EQ(static_cast<int>(LogSeverity::fatal), 1);
    EXPECT_EQ(static_cast<int>(LogSeverity::error), 2);
    EXPECT_EQ(static_cast<int>(LogSeverity::warning), 3);
    EXPECT_EQ(static_cast<int>(LogSeverity::notice), 4);
    EXPECT_EQ(static_cast<int>(LogSeverity::info), 5);
    EXPECT_EQ(static_cast<int>(LogSeverity::debug), 6);
}

TEST(LogSeverity, tableRepeatsFatalAtItsEnd) {
    const vx::EnumTable table = vxEnum(LogSeverity::print);
    std::ostringstream rows;
    std::for_each(table.begin, table.end,
                  [&](const vx::EnumRow& row) { rows << row.value << row.name << ' '; });

    EXPECT_EQ(rows.str(), "0print 1fatal 2error 3warning 4notice 5info 6debug 1fatal ");
    EXPECT_STREQ(table.name, "vx::LogSeverity");
}

TEST(LogSeverity, streamsAsItsName) {
    std::ostringstream stream;

    stream << LogSeverity::print << ' ' << LogSeverity::fatal << ' ' << LogSeverity::debug;

    EXPECT_EQ(stream.str(), "print fatal debug");
}

TEST(LogSeverityFromSyslog, followsTheTable) {
    const LogSeverity expected[] = {LogSeverity::fatal, LogSeverity::fatal,   LogSeverity::fatal,
                                    LogSeverity::error, LogSeverity::warning, LogSeverity::notice,
                                    LogSeverity::info,  LogSeverity::debug};
    for (int priority = 0; priority < 8; ++priority)
        EXPECT_EQ(vx::logSeverityFromSyslog(priority), expected[priority]) << priority;
}

TEST(LogSeverityFromSyslog, anyOtherNumberIsDebug) {
    for (const int priority : {-1, 8, 9, 1000, INT32_MIN, INT32_MAX})
        EXPECT_EQ(vx::logSeverityFromSyslog(priority), LogSeverity::debug) << priority;
}

TEST(LogChannel, isNeitherCopiedNorVirtual) {
    static_assert(!std::is_copy_constructible_v<LogChannel>);
    static_assert(std::is_nothrow_destructible_v<LogChannel>);
    static_assert(!std::is_polymorphic_v<LogChannel>);
    SUCCEED();
}

TEST(LogChannel, streamsAsNameAndSeverity) {
    const LogChannel channel("logTest", LogSeverity::warning);
    std::ostringstream stream;

    stream << channel;

    EXPECT_EQ(stream.str(), "logTest:warning");
}

TEST(LogChannel, registersInOrderAndUnregistersAtItsEnd) {
    const auto before = channelNames();
    {
        const LogChannel first("logTestB", LogSeverity::info);
        auto second = std::make_unique<LogChannel>("logTestA", LogSeverity::error);
        const LogChannel third("logTestC", LogSeverity::print);

        auto expected = before;
        expected.insert(expected.end(), {"logTestB", "logTestA", "logTestC"});
        EXPECT_EQ(channelNames(), expected);

        second.reset();
        expected.erase(expected.end() - 2);
        EXPECT_EQ(channelNames(), expected);
    }
    EXPECT_EQ(channelNames(), before);
}

TEST(LogChannel, secondOneOfANameThrowsAndLeavesTheFirst) {
    const LogChannel first("logTestBase", LogSeverity::info);

    EXPECT_EQ(thrownText([] { const LogChannel second("logTestBase", LogSeverity::debug); }),
              "Log channels with duplicate name detected. channel.name():logTestBase "
              "condition:x->name() != channel.name() vx/log.cpp:<line>");

    EXPECT_EQ(logger().channelSeverity("logTestBase"), LogSeverity::info);
}

TEST(LogChannel, secondOneOfANameThrowsThoughItsContextHoldsAnUnknownValue) {
    DebugCapture log(vx::enumLogChannel().name());
    const LogChannel first("logTestBase", LogSeverity::info);
    const auto unknown = static_cast<LogSeverity>(9);
    VX_LOG_CONTEXT(unknown);

    // The report of the unknown value needs the logger's lock.
    alarm(30);
    EXPECT_EQ(thrownText([] { const LogChannel second("logTestBase", LogSeverity::debug); }),
              "Log channels with duplicate name detected. channel.name():logTestBase "
              "condition:x->name() != channel.name() vx/log.cpp:<line> unknown:");
    alarm(0);

    EXPECT_THAT(log.take(), testing::ElementsAre("debug vxEnum Unknown vx::LogSeverity enum value "
                                                 "9 unknown: .cpp:<line>"));
}

TEST(LogChannel, reportsWhileTheLoggerIsBusyNeedNoChannelOfTheirOwnYet) {
    const ChildResult result = runInPrivateWorld("", "report-while-busy");

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(withoutLineNumbers(result.standardOutput),
              "message:\n"
              "Log channels with duplicate name detected. channel.name():early "
              "condition:x->name() != channel.name() vx/log.cpp:<line> unknown:\n"
              "default:none\nearly:notice\nmodbusSerial:notice\nvxEnum:notice\n");
}

TEST(LogChannel, namesDifferByCase) {
    const LogChannel lower("logtest", LogSeverity::info);
    const LogChannel upper("logTest", LogSeverity::error);

    EXPECT_EQ(logger().channelSeverity("logtest"), LogSeverity::info);
    EXPECT_EQ(logger().channelSeverity("logTest"), LogSeverity::error);
}

TEST(LogChannel, logPassesSeveritiesUpToItsOwn) {
    LogCapture log;
    const LogChannel channel("logTest", LogSeverity::notice);

    channel.log(LogSeverity::print, "a");
    channel.log(LogSeverity::notice, "b");
    channel.log(LogSeverity::info, "c");

    EXPECT_EQ(log.take(), (std::vector<std::string>{"print logTest a", "notice logTest b"}));
}

TEST(LogChannel, printPassesEveryChannelOfTheTable) {
    LogCapture log;
    const LogChannel channel("logTest", LogSeverity::print);

    VX_LOG(channel, print, "a");
    VX_LOG(channel, fatal, "b");

    EXPECT_EQ(log.take().size(), 1U);
}

TEST(LogChannel, severityBelowPrintSilencesItWhole) {
    const LogCapture log;
    const LogChannel channel("logTest", static_cast<LogSeverity>(-1));

    VX_LOG(channel, print, "Never");
}

TEST(LogChannel, initialSeverityCanBeSetAnew) {
    LogChannel channel("logTest", LogSeverity::notice);

    channel.setInitialSeverity(LogSeverity::debug);

    EXPECT_EQ(channel.severity, LogSeverity::debug);
}

TEST(LogChannel, initialSeverityIsSetWithoutTheLoggersLock) {
    LogChannel channel("logTest", LogSeverity::notice);
    const LogFunction setting([&](const char*, LogSeverity, const std::string&) {
        channel.setInitialSeverity(LogSeverity::debug);
    });

    // A log function that waits for the lock it runs under waits forever.
    alarm(30);
    channel.log(LogSeverity::notice, "x");
    alarm(0);

    EXPECT_EQ(channel.severity, LogSeverity::debug);
}

TEST(LogStatement, suppressedOneEvaluatesNoItem) {
    const LogCapture log;
    LogChannel channel("logTest", LogSeverity::notice);
    int evaluated = 0;

    VX_LOG(channel, info, "Suppressed", ++evaluated);

    EXPECT_EQ(evaluated, 0);
}

TEST(LogStatement, literalsHaveNoKeyAndExpressionsTheirSourceText) {
    LogCapture log;
    const LogChannel channel("system", LogSeverity::notice);
    const std::string filename = "/etc/x";
    const double x = 2.5;

    VX_LOG(channel, warning, "Enter", filename, static_cast<int>(x), (*filename.begin()));

    EXPECT_EQ(log.take().at(0), "warning system Enter filename:/etc/x static_cast<int>(x):2 "
                                "(*filename.begin()):/ tests/vx/log-test.cpp:<line>");
}

TEST(LogStatement, anExpressionThatBeginsWithALiteralHasItsKey) {
    LogCapture log;
    const LogChannel channel("logTest", LogSeverity::notice);
    const std::string b = "b";

    VX_LOG(channel, notice, "a" + b, "a\"" + b + "\"c", "abc"[1],
           "a"
           "b"[0],
           R"(a")" + b);

    EXPECT_EQ(log.take().at(0),
              R"x(notice logTest "a" + b:ab "a\"" + b + "\"c":a"b"c "abc"[1]:b "a" "b"[0]:a )x"
              R"x(R"(a")" + b:a"b tests/vx/log-test.cpp:<line>)x");
}

TEST(LogStatement, onlyStringLiteralsStandWithoutAKey) {
    LogCapture log;
    const LogChannel channel("logTest", LogSeverity::notice);

    VX_LOG(channel, notice, "a\"b\\",
           "c"
           "d",
           R"(e")",
           R"x(f)")x"
           "g",
           "", 'h', ("i"));

    EXPECT_EQ(log.take().at(0), "notice logTest a\"b\\ cd e\" f)\"g  'h':h (\"i\"):i "
                                "tests/vx/log-test.cpp:<line>");
}

TEST(LogStatement, itemsAreEvaluatedFromLeftToRight) {
    LogCapture log;
    const LogChannel channel("logTest", LogSeverity::notice);
    int number = 0;
    const auto next = [&] { return ++number; };

    VX_LOG(channel, notice, next(), next(), next());

    EXPECT_EQ(log.take().at(0),
              "notice logTest next():1 next():2 next():3 tests/vx/log-test.cpp:<line>");
}

TEST(LogStatement, seesTheCallersNames) {
    LogCapture log;
    const LogChannel logger("logTest", LogSeverity::notice);
    const std::string channel = "a";
    const std::string file = "b";
    const std::string line = "c";
    const std::string items = "d";
    const std::string stream = "e";
    const std::string severity = "f";
    const std::string text = "g";

    VX_LOG(logger, notice, channel, file, line, items, stream, severity, text);

    EXPECT_EQ(log.take().at(0), "notice logTest channel:a file:b line:c items:d stream:e "
                                "severity:f text:g tests/vx/log-test.cpp:<line>");
}

TEST(LogStatement, mayConsistOfExpressionsOnly) {
    LogCapture log;
    const LogChannel channel("logTest", LogSeverity::notice);
    const int x = 1;

    VX_LOG(channel, notice, x);

    EXPECT_EQ(log.take().at(0), "notice logTest x:1 tests/vx/log-test.cpp:<line>");
}

TEST(LogStatement, severityThatChangesIsSeenByTheNextStatement) {
    LogCapture log;
    LogChannel channel("logTest", LogSeverity::notice);

    for (const auto severity : {LogSeverity::notice, LogSeverity::debug}) {
        channel.severity = severity;
        VX_LOG(channel, debug, "Seen");
    }

    EXPECT_EQ(log.take().size(), 1U);
}

TEST(TrimFileForChannel, removesWhatTheChannelsNameTells) {
    struct Row {
        const char* channelName;
        const char* file;
        const char* expected;
    };
    const Row rows[] = {
        {"modbusSerial", "src/modbus/serial-toolkit.cpp", "toolkit.cpp"},
        {"modbusreaderMain", "src/modbus/main.cpp", "main.cpp"},
        {"base", "src/base.cpp", ".cpp"},
        {"vxLog", "src/vx/log.cpp", ".cpp"},
        {"MODBUS", "src/modbus/main.cpp", "main.cpp"},
        {"modbusmain", "src/Modbus/Main.cpp", ".cpp"},
        {"x", "src/modbus/main.cpp", "modbus/main.cpp"},
        {"a-b", "src/a-b.cpp", "b.cpp"},
        {"ab", "src/a_b-c.cpp", "c.cpp"},
        {"logTestLong", "src/log-t", ""},
        {"modbusMain", "src/modbus/other/main.cpp", "other/main.cpp"},
    };
    for (const Row& row : rows) {
        const LogChannel channel(row.channelName, LogSeverity::notice);
        EXPECT_EQ(vx::trimFile(row.file, channel), row.expected) << row.channelName;
        EXPECT_EQ(vx::str(LogPosition{channel, row.file, 7}), vx::str(row.expected, ":7"));
    }
}

TEST(TrimFileForChannel, emptyNameStripsOnlySeparatorsAtTheStart) {
    const LogChannel channel("", LogSeverity::notice);

    EXPECT_EQ(vx::trimFile("src/vx/log.cpp", channel), "vx/log.cpp");
    EXPECT_EQ(vx::trimFile("src/_-/vx/log.cpp", channel), "vx/log.cpp");
}

TEST(TrimFileForChannel, appliesTheLengthRuleFirst) {
    const LogChannel channel("logTest", LogSeverity::notice);

    // Of 32 characters and of 33.
    EXPECT_EQ(vx::trimFile("log-test/abcdefghijklmnopqrstuvw", channel), "abcdefghijklmnopqrstuvw");
    EXPECT_EQ(vx::trimFile("log-test/abcdefghijklmnopqrstuvwx", channel),
              "...test/abcdefghijklmnopqrstuvwx");
    EXPECT_EQ(vx::str(LogPosition{channel, "log-test/abcdefghijklmnopqrstuvw", 7}),
              "abcdefghijklmnopqrstuvw:7");
    EXPECT_EQ(vx::str(LogPosition{channel, "log-test/abcdefghijklmnopqrstuvwx", 7}),
              "...test/abcdefghijklmnopqrstuvwx:7");
}

TEST(Logger, handsChannelSeverityAndMessageToTheLogFunction) {
    std::string seen;
    const LogFunction seeing(
        [&](const char* name, LogSeverity severity, const std::string& message) {
            seen = vx::str(name, "|", severity, "|", message);
        });

    logger().log("anyName", LogSeverity::error, "message");

    EXPECT_EQ(seen, "anyName|error|message");
}

TEST(Logger, withoutLogFunctionThrows) {
    const LogFunction none(nullptr);

    EXPECT_THROW(logger().log("logTest", LogSeverity::notice, "x"), std::bad_function_call);
}

TEST(Logger, anUnknownSeverityInALogFunctionIsWrittenAsNothingAndNotReported) {
    const ChannelSeverity debug(vx::enumLogChannel().name(), LogSeverity::debug);
    std::ostringstream seen;
    const LogFunction seeing([&](const char*, LogSeverity severity, const std::string& message) {
        seen << message << ':' << severity << '|';
        seen << vx::str(vx::toEnum<LogSeverity>("loud")) << '|';
    });

    // A report would wait forever for the lock that the log function runs under.
    alarm(30);
    logger().log("logTest", static_cast<LogSeverity>(9), "x");
    alarm(0);

    EXPECT_EQ(seen.str(), "x:|print|");
}

TEST(Logger, anUnknownSeverityThatTheOldLogFunctionTellsAtItsEndIsNotReported) {
    const ChannelSeverity debug(vx::enumLogChannel().name(), LogSeverity::debug);
    std::string told = "nothing";
    static constexpr int owned = 1;
    const auto tell = [&](const int*) { told = vx::str(static_cast<LogSeverity>(9)); };
    logger().setLogFunction([held = std::shared_ptr<const int>(&owned, tell)](
                                const char*, LogSeverity, const std::string&) {});

    alarm(30);
    logger().setLogFunction(Logger::defaultLogFunction);
    alarm(0);

    EXPECT_EQ(told, "");
}

TEST(Logger, oldLogFunctionIsDestroyedBeforeTheNewOneIsInForce) {
    std::promise<void> logged;
    auto line = logged.get_future();
    std::thread other;
    auto duringTheDestruction = std::future_status::ready;
    const auto logMeanwhile = [&](const int*) {
        other = std::thread([] { logger().log("logTest", LogSeverity::notice, "x"); });
        // The line has to wait, so this is the time that it gets to come too early.
        duringTheDestruction = line.wait_for(std::chrono::milliseconds(50));
    };
    static constexpr int owned = 1;
    logger().setLogFunction([held = std::shared_ptr<const int>(&owned, logMeanwhile)](
                                const char*, LogSeverity, const std::string&) {});

    logger().setLogFunction(
        [&](const char*, LogSeverity, const std::string&) { logged.set_value(); });
    other.join();
    logger().setLogFunction(Logger::defaultLogFunction);

    EXPECT_EQ(duringTheDestruction, std::future_status::timeout);
    EXPECT_EQ(line.wait_for(std::chrono::seconds(0)), std::future_status::ready);
}

TEST(Logger, callsOfTheLogFunctionNeverOverlap) {
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    int calls = 0;
    const LogFunction counting([&](const char*, LogSeverity, const std::string&) {
        if (++inside != 1)
            overlapped = true;
        std::this_thread::yield();
        ++calls;
        --inside;
    });

    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 500; ++n)
                logger().log("logTest", LogSeverity::notice, "x");
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_FALSE(overlapped);
    EXPECT_EQ(calls, 2000);
}

TEST(Logger, setDefaultSeverityResolvesEveryChannel) {
    const SavedSeverities saved;
    const LogChannel one("logTestOne", LogSeverity::info);
    const LogChannel two("logTestTwo", LogSeverity::error);

    logger().setDefaultSeverity(LogSeverity::warning);

    EXPECT_EQ(logger().defaultSeverity(), LogSeverity::warning);
    for (const auto& channel : logger().channelSeverities())
        EXPECT_EQ(channel.severity, LogSeverity::warning) << channel.name;
}

TEST(Logger, noDefaultSeverityLeavesEveryChannelAsItIs) {
    const SavedSeverities saved;
    const LogChannel channel("logTest", LogSeverity::info);
    logger().setDefaultSeverity(LogSeverity::warning);

    logger().setDefaultSeverity(std::nullopt);

    EXPECT_EQ(logger().defaultSeverity(), std::nullopt);
    EXPECT_EQ(channel.severity, LogSeverity::warning);
}

TEST(Logger, defaultSeverityWinsOverTheInitialOne) {
    const SavedSeverities saved;
    logger().setDefaultSeverity(LogSeverity::error);

    LogChannel channel("logTest", LogSeverity::debug);
    EXPECT_EQ(channel.severity, LogSeverity::error);

    channel.setInitialSeverity(LogSeverity::info);
    EXPECT_EQ(channel.severity, LogSeverity::error);
}

TEST(Logger, setChannelSeverityWinsUntilTheNextDefault) {
    const SavedSeverities saved;
    const LogChannel channel("logTest", LogSeverity::notice);
    logger().setDefaultSeverity(LogSeverity::error);

    logger().setChannelSeverity("logTest", LogSeverity::debug);
    EXPECT_EQ(channel.severity, LogSeverity::debug);
    EXPECT_EQ(logger().channelSeverity("logTest"), LogSeverity::debug);

    logger().setDefaultSeverity(LogSeverity::info);
    EXPECT_EQ(channel.severity, LogSeverity::info);
}

TEST(Logger, severityOfUnknownChannelThrows) {
    const LogChannel channel("logTestLonger", LogSeverity::notice);

    EXPECT_EQ(thrownText([] { logger().channelSeverity("logTest"); }),
              "Log channel not found. vx/log.cpp:<line> channelName:logTest");
}

TEST(Logger, settingAnUnknownChannelThrowsWithTheSeverity) {
    const int outer = 1;
    VX_LOG_CONTEXT(outer);

    EXPECT_EQ(
        thrownText([] { logger().setChannelSeverity("logTest", LogSeverity::debug); }),
        "Log channel not found. vx/log.cpp:<line> channelName:logTest severity:debug outer:1");
}

TEST(Logger, settingAnUnknownChannelToAnUnknownSeverityThrowsAndReportsItOnce) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(
        thrownText([] { logger().setChannelSeverity("logTest", static_cast<LogSeverity>(9)); }),
        "Log channel not found. vx/log.cpp:<line> channelName:logTest severity:");
    EXPECT_THAT(log.take(),
                testing::ElementsAre("debug vxEnum Unknown vx::LogSeverity enum value 9 "
                                     "channelName:logTest severity: .cpp:<line>"));
}

TEST(Logger, removingAChannelThatIsNotRegisteredIsIgnored) {
    LogChannel channel("logTest", LogSeverity::notice);
    const auto before = channelNames();

    logger().removeChannel(channel);
    logger().removeChannel(channel);

    EXPECT_EQ(channelNames().size(), before.size() - 1);
}

TEST(Logger, channelAddedTwiceIsADuplicate) {
    LogChannel channel("logTest", LogSeverity::notice);

    EXPECT_THROW(logger().addChannel(channel), vx::Exception);
}

TEST(Logger, isNeverDestroyed) {
    static_assert(std::is_trivially_destructible_v<Logger>);
    SUCCEED();
}

TEST(Logger, isAHandleOfOnePointer) {
    EXPECT_EQ(sizeof(Logger), sizeof(void*));
    EXPECT_EQ(&Logger::instance(), &Logger::instance());
}

TEST(Channels, ofTheSupportLibraryAreRegisteredAtNotice) {
    for (const char* name : {"vxSystem", "vxConf", "vxEnum"}) {
        if (std::string_view(name) == "vxEnum")
            vx::enumLogChannel();
        EXPECT_EQ(logger().channelSeverity(name), LogSeverity::notice) << name;
    }
}
