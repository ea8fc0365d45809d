#include "house-log.h"
#include "inspector-program.h"
#include "inspector/log/line.h"
#include "support/transcript.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

using namespace inspector;

namespace {

/// Logs of the simulated house with one fault each, and what is told of them at each setting of the
/// log.
class ReportOfHouse : public testing::Test {
protected:
    static std::string withoutTimes(std::string text) {
        const std::pair<const char*, const char*> running[] = {
            {R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)", "<time>"},
            {"<time> to <time>", "<time>"},
            {R"(\d+\.\d{3} s)", "<s>"},
            {R"(\d+ lines?)", "<n> lines"}};
        for (const auto& [pattern, name] : running)
            text = std::regex_replace(text, std::regex(pattern), name);
        // A title is as wide as its column, whose width hangs on the times.
        return std::regex_replace(text, std::regex("(first|last) {2,}"), "$1  ");
    }

    /// The report at each setting; where it is that of another one, its name.
    static std::string reportsOf(const std::string& log) {
        std::vector<std::pair<std::string, std::string>> reports;
        for (const std::string& setting : logSettings) {
            const ProgramResult result = run({"report", "-"}, atSetting(log, setting));
            EXPECT_EQ(result.standardError, "");
            const std::string report = withoutTimes(result.standardOutput) + "status " +
                                       std::to_string(result.status.value_or(-1)) + "\n";
            const std::string name = setting.empty() ? "none" : setting;
            if (!reports.empty() && reports.back().second == report)
                reports.back().first += ", " + name;
            else
                reports.emplace_back(name, report);
        }
        std::string all;
        for (const auto& [name, report] : reports)
            all += "VX_LOG: " + name + "\n" + report + "\n";
        return all;
    }
};

/// The statements that wrote a log.
std::set<std::string> statementsOf(const std::string& log) {
    std::set<std::string> statements;
    std::istringstream lines(log);
    for (std::string text; std::getline(lines, text);) {
        const Line line = parseLine(text);
        const bool hasPosition = !line.file.empty();
        statements.insert(std::string(line.channel) + " " +
                          (hasPosition ? std::string(line.file) + std::to_string(line.number)
                                       : std::string(line.text.substr(0, line.text.find(' ')))));
    }
    return statements;
}

} // namespace

TEST_F(ReportOfHouse, isOfLogsAsTheDaemonWritesThemAtEachSetting) {
    const std::vector<std::string> fault = {"--fault", "2=exception:2"};
    const std::string whole = logOfHouse(fault);
    for (const std::string& setting : logSettings)
        EXPECT_EQ(statementsOf(logAtSetting(fault, setting, 2)),
                  statementsOf(atSetting(whole, setting)))
            << setting;
}

TEST_F(ReportOfHouse, withoutFaults) {
    expectTranscriptOfFile(reportsOf(logOfHouse({})));
}

TEST_F(ReportOfHouse, withASilentMeter) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "2=silent"})));
}

TEST_F(ReportOfHouse, withExceptions) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "1=exception:2"})));
}

TEST_F(ReportOfHouse, withASilentMeterOverRtu) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--rtu", "/dev/ttymxc2", "--fault", "2=silent"})));
}

TEST_F(ReportOfHouse, withExceptionsOverRtu) {
    expectTranscriptOfFile(
        reportsOf(logOfHouse({"--rtu", "/dev/ttymxc2", "--fault", "1=exception:2"})));
}

TEST_F(ReportOfHouse, withAnswersThatComeTooLateOverTcp) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "1=late:1300"}, 2)));
}

TEST_F(ReportOfHouse, withGarbledAnswersOverTcp) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "2=garbled"})));
}

TEST_F(ReportOfHouse, withAnswersInTheNameOfAnotherUnitOverTcp) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "2=unit:9"})));
}

TEST_F(ReportOfHouse, withAnswersThatComeTooLateOverRtu) {
    expectTranscriptOfFile(
        reportsOf(logOfHouse({"--rtu", "/dev/ttymxc2", "--fault", "1=late:1300"}, 2)));
}

TEST_F(ReportOfHouse, withGarbledAnswersOverRtu) {
    expectTranscriptOfFile(
        reportsOf(logOfHouse({"--rtu", "/dev/ttymxc2", "--fault", "2=garbled"})));
}

TEST_F(ReportOfHouse, withAnswersInTheNameOfAnotherUnitOverRtu) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--rtu", "/dev/ttymxc2", "--fault", "2=unit:9"})));
}

TEST_F(ReportOfHouse, withoutSerialParameters) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "rtuconfig=status:503"})));
}

TEST_F(ReportOfHouse, withoutAttachedMeters) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "attached=status:503"})));
}

TEST_F(ReportOfHouse, withoutModels) {
    expectTranscriptOfFile(reportsOf(logOfHouse({"--fault", "supported=status:404"})));
}
