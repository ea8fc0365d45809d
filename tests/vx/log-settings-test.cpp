#include "child-process.h"
#include "support/log-capture.h"
#include "support/test-assert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <regex>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// The text of each setting, if it is set.
struct Settings {
    std::optional<std::string> rules = {};
    std::optional<std::string> colors = {};
    std::optional<std::string> testAssert = {};
    /// Shell commands that make the file "/etc/libvx", in a world of its own.
    std::string makeFile = {};
};

ChildOptions optionsOf(const Settings& settings) {
    ChildOptions options;
    if (settings.rules)
        options.environment.push_back("VX_LOG=" + *settings.rules);
    if (settings.colors)
        options.environment.push_back("VX_LOG_COLORS=" + *settings.colors);
    if (settings.testAssert)
        options.environment.push_back("VX_TEST_ASSERT=" + *settings.testAssert);
    return options;
}

/// Runs the program where the file "/etc/libvx" is what @p settings make of it, or missing.
ChildResult run(const Settings& settings, const std::string& command) {
    return runInPrivateWorld(settings.makeFile, command, optionsOf(settings));
}

std::string outputOf(const Settings& settings, const std::string& command = "channels") {
    const ChildResult result = run(settings, command);
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(result.standardError, "");
    return result.standardOutput;
}

std::string outputWithFile(const std::string& content, const std::string& command = "channels") {
    return outputOf({.makeFile = "printf '" + content + "' >/etc/libvx"}, command);
}

constexpr const char* nothingSet = "default:none\nearly:notice\nmodbusSerial:notice\n";
constexpr const char* everythingAtDebug = "default:debug\nearly:debug\nmodbusSerial:debug\n";

/// Log lines without times and thread ids, of which each host has its own number of digits.
std::string withoutTimesAndThreadIds(const std::string& text) {
    static const std::regex columns(R"((^|\n)\[[^\]]*\] +\d+ )");
    return std::regex_replace(text, columns, "$1");
}

/// What the default log function writes for every severity, without times and thread ids.
std::string logTextOf(const Settings& settings) {
    return withoutTimesAndThreadIds(run(settings, "every-severity").standardError);
}

constexpr const char* plainLines = "!!!!! early message\n"
                                   "FATAL early message\n"
                                   "ERROR early message\n"
                                   "WARN  early message\n"
                                   "NOTIC early message\n"
                                   "INFO  early message\n"
                                   "DEBUG early message\n"
                                   "????? early message\n";

constexpr const char* coloredLines = "\x1B[34;01m!!!!!\x1B[0m early message\n"
                                     "\x1B[31;01mFATAL\x1B[0m early message\n"
                                     "\x1B[31;01mERROR\x1B[0m early message\n"
                                     "\x1B[33;01mWARN \x1B[0m early message\n"
                                     "\x1B[36mNOTIC\x1B[0m early message\n"
                                     "INFO  early message\n"
                                     "DEBUG early message\n"
                                     "????? early message\n";

/// A terminal, of which a child gets the one end and the test reads the other.
class Terminal {
public:
    Terminal() : m_fd(posix_openpt(O_RDWR | O_NOCTTY)) {
        grantpt(m_fd);
        unlockpt(m_fd);
        m_childsEnd = open(name().c_str(), O_RDWR | O_NOCTTY);
    }
    ~Terminal() {
        close(m_childsEnd);
        close(m_fd);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string name() const { return ptsname(m_fd); }

    std::string read() const {
        std::string text(4096, '\0');
        text.resize(static_cast<std::size_t>(::read(m_fd, text.data(), text.size())));
        return text;
    }

private:
    int m_fd;
    int m_childsEnd;
};

std::string noticeLineOnTerminal(const Settings& settings) {
    const Terminal terminal;
    ChildOptions options = optionsOf(settings);
    options.standardErrorFile = terminal.name();
    runChild({SURROUNDINGS_PROGRAM, "notice"}, options);
    return withoutTimesAndThreadIds(terminal.read());
}

} // namespace

TEST(LogSettings, nothingSetLeavesEveryInitialSeverity) {
    EXPECT_EQ(outputOf({}), nothingSet);
}

TEST(LogSettings, letterAloneSetsTheDefaultAndEveryChannel) {
    EXPECT_EQ(outputOf({.rules = "D"}), everythingAtDebug);
    EXPECT_EQ(outputOf({.rules = ":D"}), everythingAtDebug);
}

TEST(LogSettings, lastOfTheRulesWithoutNameIsTheDefault) {
    EXPECT_EQ(outputOf({.rules = "W,early:D,:E"}),
              "default:error\nearly:error\nmodbusSerial:error\n");
}

TEST(LogSettings, ruleMatchesThePrefixOfAName) {
    EXPECT_EQ(outputOf({.rules = "N,modbusSerial:D,HttpClient:W"}),
              "default:notice\nearly:notice\nmodbusSerial:debug\n");
    EXPECT_EQ(outputOf({.rules = "modbus:I"}), "default:none\nearly:notice\nmodbusSerial:info\n");
}

TEST(LogSettings, rulesAreCaseSensitiveAndMatchNoLongerName) {
    EXPECT_EQ(outputOf({.rules = "Modbus:D,modbusSerialX:D,arly:D"}), nothingSet);
}

TEST(LogSettings, lastMatchWinsAndNotTheMostSpecific) {
    EXPECT_EQ(outputOf({.rules = "modbus:D,modbusSerial:W"}),
              "default:none\nearly:notice\nmodbusSerial:warning\n");
    EXPECT_EQ(outputOf({.rules = "modbusSerial:W,modbus:D"}),
              "default:none\nearly:notice\nmodbusSerial:debug\n");
    EXPECT_EQ(outputOf({.rules = "modbus:W,D"}), everythingAtDebug);
}

TEST(LogSettings, channelRegisteredLateGetsTheRulesAsTheyWereAtTheStart) {
    EXPECT_EQ(outputOf({.rules = "E,late:W,vxEnum:D"}, "late-channels"),
              "default:error\nearly:error\nmodbusSerial:error\nlate:warning\nvxEnum:debug\n");
    EXPECT_EQ(outputWithFile("VX_LOG=E,late:W,vxEnum:D\\n", "late-channels"),
              "default:error\nearly:error\nmodbusSerial:error\nlate:warning\nvxEnum:debug\n");
}

TEST(LogSettings, channelKeepsItsInitialSeverityIfNoRuleIsThere) {
    EXPECT_EQ(outputOf({}, "changed-severities"), "initial early:error\n"
                                                  "set early:fatal\n"
                                                  "default early:info modbusSerial:info\n"
                                                  "none early:info modbusSerial:info\n");
}

TEST(LogSettings, rulesWinOverInitialSeverityAndDefault) {
    EXPECT_EQ(outputOf({.rules = "early:D"}, "changed-severities"),
              "initial early:debug\n"
              "set early:fatal\n"
              "default early:debug modbusSerial:info\n"
              "none early:debug modbusSerial:info\n");
}

TEST(LogSettings, rulesOfTheFileServeIfTheEnvironmentHasNone) {
    EXPECT_EQ(outputWithFile("VX_LOG=early:D\\n"),
              "default:none\nearly:debug\nmodbusSerial:notice\n");
    EXPECT_EQ(outputWithFile("VX_LOG=D"), everythingAtDebug);
}

TEST(LogSettings, emptyVariableFallsThroughToTheFile) {
    EXPECT_EQ(outputOf({.rules = "", .makeFile = "echo VX_LOG=D >/etc/libvx"}), everythingAtDebug);
}

TEST(LogSettings, variableWinsOverAllOfTheFile) {
    EXPECT_EQ(outputOf({.rules = "early:E", .makeFile = "echo VX_LOG=D >/etc/libvx"}),
              "default:none\nearly:error\nmodbusSerial:notice\n");
}

TEST(LogSettings, variableWithoutAnyValidRuleKeepsTheFileOutToo) {
    EXPECT_EQ(outputOf({.rules = "x", .makeFile = "echo VX_LOG=D >/etc/libvx"}), nothingSet);
}

TEST(LogSettings, firstLineOfTheFileWithAValueWins) {
    EXPECT_EQ(
        outputWithFile("# VX_LOG=E\\n\\nother\\n VX_LOG=E\\nVX_LOG=\\nVX_LOG=D\\nVX_LOG=F\\n"),
        everythingAtDebug);
}

TEST(LogSettings, otherNameOfTheSameStartIsSkipped) {
    EXPECT_EQ(
        outputWithFile(
            "VX_LOG_COLORS=yes\\nVX_LOGS=E\\nABCDEF=E,VX_LOG\\nVX_LOG =E\\nVX_LOG:E\\nVX_LOG=D\\n"),
        everythingAtDebug);
}

TEST(LogSettings, nothingOfTheFilesValueIsTrimmed) {
    EXPECT_EQ(outputWithFile("VX_LOG=D \\n"), nothingSet);
    EXPECT_EQ(outputWithFile("VX_LOG= D\\n"), nothingSet);
    EXPECT_EQ(outputWithFile("VX_LOG=D\\r\\n"), nothingSet);
    EXPECT_EQ(outputWithFile("VX_LOG=early=D,D\\n"), everythingAtDebug);
}

TEST(LogSettings, lineOfTheBareNameEndsTheSearchWithAMessage) {
    for (const char* content : {"VX_LOG", "VX_LOG\\nVX_LOG=D\\n"}) {
        const ChildResult result =
            run({.makeFile = std::string("printf '") + content + "' >/etc/libvx"}, "channels");

        EXPECT_EQ(result.standardOutput, nothingSet) << content;
        EXPECT_EQ(result.standardError,
                  "Failed to parse /etc/libvx, error:basic_string::at: __n (which is 6) >= "
                  "this->size() (which is 6)\n");
    }
}

TEST(LogSettings, lineOfTheBareNameBehindAGoodOneIsNotReached) {
    EXPECT_EQ(outputWithFile("VX_LOG=D\\nVX_LOG\\n"), everythingAtDebug);
}

TEST(LogSettings, fileIsNotReadIfTheEnvironmentHasTheSetting) {
    // The line would be reported.
    EXPECT_EQ(outputOf({.rules = "x", .colors = "no", .makeFile = "echo VX_LOG >/etc/libvx"}),
              nothingSet);
}

TEST(LogSettings, fileThatCannotBeOpenedOrReadGivesNothing) {
    const std::string socket =
        "'" SURROUNDINGS_PROGRAM "' make-socket /etc/libvx && [[ -S /etc/libvx ]] || exit 3";

    EXPECT_EQ(outputOf({.makeFile = socket}), nothingSet);
    EXPECT_EQ(outputOf({.makeFile = "mkdir /etc/libvx"}), nothingSet);
    EXPECT_EQ(outputWithFile(""), nothingSet);
}

TEST(LogColors, areUsedIfAskedFor) {
    EXPECT_EQ(logTextOf({.colors = "yes"}), coloredLines);
}

TEST(LogColors, areNotUsedOnAFile) {
    EXPECT_EQ(logTextOf({}), plainLines);
    EXPECT_EQ(logTextOf({.colors = "no"}), plainLines);
}

TEST(LogColors, anyOtherTextCountsAsNone) {
    for (const char* text : {"maybe", "YES", "yes ", "1"})
        EXPECT_EQ(logTextOf({.colors = text}), plainLines) << text;
}

TEST(LogColors, mayBeSetInTheFile) {
    EXPECT_EQ(logTextOf({.makeFile = "echo VX_LOG_COLORS=yes >/etc/libvx"}), coloredLines);
    EXPECT_EQ(logTextOf({.colors = "no", .makeFile = "echo VX_LOG_COLORS=yes >/etc/libvx"}),
              plainLines);
}

TEST(LogColors, lineOfTheBareNameIsReportedBehindThatOfTheRulesAndLeavesItToTheTerminal) {
    const std::string makeFile = "printf 'VX_LOG\\nVX_LOG_COLORS\\n' >/etc/libvx";

    EXPECT_EQ(logTextOf({.makeFile = makeFile}),
              std::string("Failed to parse /etc/libvx, error:basic_string::at: __n (which is 6) >= "
                          "this->size() (which is 6)\n"
                          "Failed to parse /etc/libvx, error:basic_string::at: __n (which is 13) "
                          ">= this->size() (which is 13)\n") +
                  plainLines);
}

TEST(LogColors, areUsedOnATerminalUnlessRefused) {
    const std::string colored = "\x1B[36mNOTIC\x1B[0m early message\r\n";

    EXPECT_EQ(noticeLineOnTerminal({}), colored);
    EXPECT_EQ(noticeLineOnTerminal({.colors = "maybe"}), colored);
    EXPECT_EQ(noticeLineOnTerminal({.colors = "no"}), "NOTIC early message\r\n");
}

TEST(LogThreadId, isRightAlignedInFiveColumns) {
    std::vector<std::string> command = {"unshare", "--pid", "--fork", "--mount-proc"};
    if (geteuid() != 0)
        command.insert(command.end(), {"--user", "--map-root-user"});
    command.insert(command.end(), {SURROUNDINGS_PROGRAM, "notice"});

    // The first process of a world of its own has the smallest number.
    const ChildResult result = runChild(command);

    EXPECT_THAT(result.standardError, testing::EndsWith("]     1 NOTIC early message\n"));
}

TEST(TestAssert, returnsIfItsSettingHasNoValue) {
    EXPECT_EQ(outputOf({}, "test-assert"), "");
    EXPECT_EQ(outputOf({.testAssert = ""}, "test-assert"), "");
    EXPECT_EQ(outputWithFile("VX_TEST_ASSERT=\\n", "test-assert"), "");
}

TEST(TestAssert, anyValueAborts) {
    const Settings settings[] = {{.testAssert = "0"},
                                 {.testAssert = "yes"},
                                 {.makeFile = "echo VX_TEST_ASSERT=0 >/etc/libvx"}};
    for (const Settings& each : settings) {
        const ChildResult result = run(each, "test-assert");

        EXPECT_TRUE(WIFSIGNALED(result.status) && WTERMSIG(result.status) == SIGABRT);
        EXPECT_THAT(withoutLineNumbers(result.standardError),
                    StartsWith(std::string("Assertion failed. Test assert. condition:false "
                                           "src/vx/log-rule.cpp:<line>  ") +
                               functionOfTestAssert + "\nStacktrace:"));
        EXPECT_THAT(result.standardError, HasSubstr("\nDecoded stacktrace:\n  "));
        EXPECT_THAT(result.standardError, HasSubstr(" : vx::testAssert() +0x"));
    }
}
