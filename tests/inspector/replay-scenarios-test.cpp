// Each scenario of the end-to-end tests is run, its log is turned into a home, and the real reader
// runs in that home: it must tell the same again.

#include "inspector-program.h"

#include "e2e/reader-process.h"
#include "house/home.h"
#include "house/metering-service.h"
#include "house/patience.h"
#include "house/pty-pair.h"
#include "support/lines.h"
#include "support/temporary-directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace inspector {
namespace {

constexpr const char* configFile = "/etc/modbus-config.json";
constexpr const char* port = "/dev/ttymxc2";
constexpr std::uint16_t busPort = 1502;

struct Scenario {
    std::string program;
    std::string test;

    friend std::ostream& operator<<(std::ostream& stream, const Scenario& scenario) {
        return stream << scenario.test;
    }
};

/// A scenario that can't be one of the house.
struct Exception {
    const char* test;
    const char* why;
};

const Exception exceptions[] = {
    {"StartUp.withItsStandardDescriptorsClosedNothingElseTakesTheirPlaces", "There is no log"},
    {"FormatsOfTheHouse.theRepliesAreWhatTheirSchemasAllow", "There is no reader"},
    {"HostileSystem.whatTakesNoByteOfTheLogCostsNothingElse", "There is no log"},
    {"HostileSystem.aFullFileSystemCutsTheLogUntilThereIsRoom", "The log ends in its first poll"},
    {"HostileSystem.aPipeThatNobodyReadsAnyMoreEndsTheReaderBySigpipe", "Its log goes into a pipe"},
    {"HostileSystem.aPipeThatNobodyReadsAnyMoreCostsTheLogAloneWhereSigpipeIsIgnored",
     "Its log goes into a pipe"},
    {"HostileSystem.aFullPipeHoldsTheReaderUntilSomebodyReadsAndLosesNoLine",
     "Its log goes into a pipe"},
    {"HostileServer.aReplyOfTenMegabytesIsTaken",
     "No line of more than 4 MB is kept, so the reply is unknown"},
};

/// What they expect of the log holds at its default severities only. Their scenario is a good one.
const char* const compareTheLog[] = {
    "HostileServer.lineEndsInItsValuesForgeLogLinesAndNoMessage",
    "Delivery.thePollsWholeLogTellsTheRoadOfTheReading",
    "LogRules.aLineOfTheBareNameIsReportedAndLeavesTheDefaults",
    "LogRules.debugOfTheHttpClientShowsANewHandleForEachRequest",
    "LogRules.theEnvironmentWinsOverTheWholeFile",
    "StartUp.firstPollRunsBeforeTheTimerAndOnlyWarnsWhileTheLocalServerIsDown",
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream content(text);
    for (std::string line; std::getline(content, line);)
        lines.push_back(line);
    return lines;
}

/// What the log of a reader tells of its polls, without its moments.
struct Told {
    std::size_t polls = 0;
    /// The messages that were written to the metering service.
    std::vector<std::string> messages;
    /// Whether some were lost, which is no matter of the home.
    bool hasLosses = false;
    /// What was asked and answered, and each step of what was made of it.
    std::vector<std::string> steps;
};

/// What stands in @p line behind @p text; empty if that isn't there. No regular expression, as a
/// line may be long.
std::string behind(const std::string& line, const std::string& text) {
    const std::size_t at = line.find(text);
    return at == std::string::npos ? "" : line.substr(at + text.size());
}

/// How the bus is connected is no matter of the home.
bool isOfConnecting(const std::string& step) {
    const auto isStart = [&](const char* start) { return step.starts_with(start); };
    constexpr std::array starts = {"doReconnect", "Connecting TCP",       "Could not connect",
                                   "RS485",       "Modbus serial device", "vx::str"};
    return std::any_of(starts.begin(), starts.end(), isStart);
}

Told toldBy(const std::string& log) {
    Told told;
    bool isConnecting = false;
    for (const std::string& line : linesOf(log)) {
        const std::string message = behind(line, " modbusreaderSocketWriter Writing  m_buffer:");
        if (!message.empty())
            told.messages.push_back(withoutTime(message.substr(0, message.rfind(' '))));
        if (!behind(line, " modbusreaderSocketWriter Could not connect ").empty())
            told.hasLosses = true;
        const std::string step = withoutRunningValues(behind(line, " modbusSerial "));
        if (step.empty())
            continue;
        if (step.starts_with("Main loop is alive "))
            ++told.polls;
        // One behind it is about the configuration file.
        const bool isOfTheFile = isConnecting && step.starts_with("Could not convert reply");
        isConnecting = isOfConnecting(step);
        if (!isConnecting && !isOfTheFile)
            told.steps.push_back(step);
    }
    return told;
}

/// What a program writes.
std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
    std::string text;
    std::array<char, 4096> part{};
    while (const std::size_t size = fread(part.data(), 1, part.size(), output.get()))
        text.append(part.data(), size);
    return text;
}

/// All tests of the two executables.
std::vector<Scenario> allScenarios() {
    std::vector<Scenario> all;
    for (const std::string program : {E2E_TESTS, HOSTILE_TESTS}) {
        std::string suite;
        for (const std::string& line : linesOf(outputOf(program + " --gtest_list_tests"))) {
            const std::string name = line.substr(0, line.find("  #"));
            if (name.starts_with("  "))
                all.push_back({program, suite + name.substr(2)});
            else
                suite = name;
        }
    }
    return all;
}

std::vector<Scenario> scenariosOfAHouse() {
    std::vector<Scenario> scenarios = allScenarios();
    std::erase_if(scenarios, [](const Scenario& scenario) {
        return std::any_of(std::begin(exceptions), std::end(exceptions),
                           [&](const Exception& one) { return scenario.test == one.test; });
    });
    return scenarios;
}

class ReplayOf : public testing::TestWithParam<Scenario> {
protected:
    ~ReplayOf() override {
        for (const char* left : {configFile, port})
            std::filesystem::remove(left);
    }

    /// Runs the scenario, and gives its logs, without ".log".
    std::vector<std::string> runScenario() const {
        const auto& [program, test] = GetParam();
        const std::string folder = m_files.path().string();
        // Its log is longer than in its own test: three lines for each of 90,000 meters, for one.
        const auto patience = house::Patience::limit(std::chrono::milliseconds(4)).count();
        house::ChildProcess process(
            {program, "--gtest_filter=" + test, "--gtest_brief=1"}, folder + "/errors",
            {"READER_LOGS=" + folder, "READER_TEST_PATIENCE=" + std::to_string(patience)});
        auto status = process.waitForExit();
        constexpr int longest = 24;
        for (int waits = 1; !status && waits < longest; ++waits)
            status = process.waitForExit();
        const bool comparesTheLog = std::find(std::begin(compareTheLog), std::end(compareTheLog),
                                              test) != std::end(compareTheLog);
        EXPECT_TRUE(status == 0 || comparesTheLog);
        std::vector<std::string> logs;
        for (int i = 1; std::filesystem::exists(folder + "/" + std::to_string(i) + ".log"); ++i)
            logs.push_back(folder + "/" + std::to_string(i));
        return logs;
    }

    /// What a reader tells in the home that @p home describes, in at least @p polls polls.
    Told playAgain(const std::string& home, bool isSerial, std::size_t polls) const {
        house::Home played(home);
        const auto line = isSerial ? std::make_unique<house::PtyPair>() : nullptr;
        if (line)
            line->linkMasterEnd(port);
        house::LocalServer server;
        house::ModbusSlave bus = isSerial ? house::ModbusSlave(house::Tty{line->slaveEnd()})
                                          : house::ModbusSlave(house::TcpPort{busPort});
        house::MeteringService service;
        played.serveOn(server);
        played.liveOn(bus);
        ReaderProcess reader({"VX_LOG=modbusSerial:D",
                              "LD_PRELOAD=" SHORT_LIMIT_LIBRARY ":" SHORT_PAUSES_LIBRARY,
                              "ASAN_OPTIONS=verify_asan_link_order=0"});
        // A message of the last poll is written before the next one but one.
        reader.waitForLog(
            [&] { return server.requestCount(house::LocalServer::rtuConfigPath) >= polls + 2; });
        // It would log on while its log is looked at, which may be large.
        reader.end();
        std::string log;
        for (const std::string& text : reader.rawLog())
            log += text + "\n";
        return toldBy(log);
    }

    TemporaryDirectory m_files;
};

/// A step without the words for why a register could not be read, if these are of a bus that is
/// lost: in the home they may be others, see the operators' page.
std::string withoutLoss(const std::string& step) {
    static const std::regex loss(R"(^(Could not read register strerror\([^:]*:))"
                                 "(Connection reset by peer|Broken pipe|Bad file descriptor|"
                                 "Input/output error|Invalid argument|Unknown error 112345690)");
    return std::regex_replace(step, loss, "$1<loss>");
}

/// Expects what was told to begin so.
void expectStart(const std::vector<std::string>& told, const std::vector<std::string>& expected) {
    ASSERT_GE(told.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(withoutLoss(told[i]), withoutLoss(expected[i])) << i << " of " << expected.size();
}

/// Expects these among those that were told, in this order.
void expectInOrder(const std::vector<std::string>& told, const std::vector<std::string>& expected) {
    auto from = told.begin();
    for (const std::string& message : expected) {
        const auto found = std::find(from, told.end(), message);
        ASSERT_NE(found, told.end()) << message;
        from = found + 1;
    }
}

} // namespace

TEST_P(ReplayOf, tellsTheSameAgain) {
    const std::vector<std::string> logs = runScenario();
    ASSERT_FALSE(logs.empty());
    for (const std::string& log : logs) {
        const ProgramResult result = run({"replay", log + ".log", "-o", log + ".json"});
        ASSERT_EQ(result.status, 0) << result.standardError;
        std::cerr << result.standardError;
        // A reader that is killed may leave part of a line.
        std::string text = contentOf(log + ".log");
        text.resize(text.rfind('\n') + 1);
        const Told expected = toldBy(text);
        if (std::filesystem::exists(log + ".config"))
            std::filesystem::copy_file(log + ".config", configFile);
        const bool isSerial = text.find("Modbus serial device connecting") != std::string::npos;

        const Told told = playAgain(log + ".json", isSerial, expected.polls);

        if (expected.hasLosses)
            expectInOrder(told.messages, expected.messages);
        else
            expectStart(told.messages, expected.messages);
        expectStart(told.steps, expected.steps);
        std::filesystem::remove(configFile);
    }
}

TEST(ReplayOfNone, eachExceptionIsAScenario) {
    const std::vector<Scenario> all = allScenarios();
    for (const Exception& one : exceptions)
        EXPECT_TRUE(
            std::any_of(all.begin(), all.end(),
                        [&](const Scenario& scenario) { return scenario.test == one.test; }))
            << one.test << ": " << one.why;
}

INSTANTIATE_TEST_SUITE_P(EndToEnd, ReplayOf, testing::ValuesIn(scenariosOfAHouse()),
                         [](const testing::TestParamInfo<Scenario>& scenario) {
                             std::string name = scenario.param.test;
                             std::replace_if(
                                 name.begin(), name.end(),
                                 [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
                             return name;
                         });

} // namespace inspector
