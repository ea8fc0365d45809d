#include "inspector-program.h"
#include "support/temporary-directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

using namespace inspector;
using testing::HasSubstr;
using testing::Not;

namespace {

/// The begin of a line at a second of one minute.
std::string headAt(const std::string& second) {
    return "[2026-11-14T03:24:" + second + ".000+01:00]   412 ";
}

std::string tickAt(const std::string& second) {
    return headAt(second) + "NOTIC modbusreaderMain callback ec:Success main.cpp:64\n";
}

/// A message of a read that began at this second.
std::string messageAt(const std::string& second, const std::string& id, int slaveAddress) {
    return headAt(second) + R"(NOTIC modbusreaderSocketWriter Writing  m_buffer:{"id":")" + id +
           R"(","slaveAddress":)" + std::to_string(slaveAddress) +
           R"(,"meteringType":"modbus","lastChanged":"2026-11-14T02:24:)" + second +
           ".000Z\"} socket-writer.cpp:41\n";
}

std::string warningAt(const std::string& second) {
    return headAt(second) + "WARN  modbusSerial Could not convert reply e:x toolkit.cpp:9\n";
}

std::string startAt(const std::string& second, const std::string& thread) {
    return "[2026-11-14T03:24:" + second + ".000+01:00]   " + thread +
           " NOTIC modbusreaderMain Starting modbus Reader main.cpp:74\n";
}

const std::string assertion = "Assertion failed.  condition:x a.cpp:1  void f()\n";

} // namespace

TEST(ReportEdges, ofFailedAssertionsAloneAreTold) {
    const ProgramResult result = run({"report", "-"}, assertion);

    EXPECT_THAT(result.standardOutput, HasSubstr("1 failed assertion\n"));
    EXPECT_THAT(result.standardOutput, HasSubstr("Assertion failed. …, 1 time, ?\n"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(run({"report", "--json", "-"}, assertion).standardOutput,
                HasSubstr(R"("count":1,"first":null,"last":null)"));
    EXPECT_THAT(run({"report", "--html", "-"}, assertion).standardOutput, Not(HasSubstr("1970")));
}

TEST(ReportEdges, tellWhatEndedTheReader) {
    const std::string exception = "terminate called after throwing an instance of 'x'\n";
    const std::string log = assertion + exception + exception;
    EXPECT_THAT(run({"report", "-"}, log).standardOutput,
                HasSubstr("1 failed assertion\n          2 uncaught exceptions\n"));
    EXPECT_THAT(run({"report", "--json", "-"}, log).standardOutput,
                HasSubstr(R"("assertionFailures":3,)"));
}

TEST(ReportEdges, countTheGapsBeyondThoseThatAreShown) {
    std::string log;
    for (int i = 0; i < 121; ++i)
        log += "[2026-11-" + std::to_string(10 + i / 12) + "T" + std::to_string(10 + i % 12) +
               ":00:00.000+01:00]   412 NOTIC modbusreaderMain callback ec:Success main.cpp:64\n";
    EXPECT_THAT(run({"report", "--json", "-"}, log).standardOutput,
                HasSubstr(R"("gapCount":119,"gaps":[{"from")"));
}

TEST(ReportEdges, ofABrokenFileTellThatItIsBroken) {
    const TemporaryDirectory directory;
    const std::string packed = (directory.path() / "packed").string();
    ASSERT_EQ(std::system(("echo x | gzip | head -c 12 >" + packed).c_str()), 0);
    const ProgramResult result = run({"report", packed});

    EXPECT_THAT(result.standardOutput, HasSubstr("the end of the compressed file is missing"));
    EXPECT_EQ(result.status, 1);
}

TEST(ReportEdges, tellRestartsAsUnknownWhereAStartLeavesNoLine) {
    EXPECT_THAT(run({"report", "-"}, warningAt("10")).standardOutput, HasSubstr("Restarts  ?\n"));
    EXPECT_THAT(run({"report", "--json", "-"}, warningAt("10")).standardOutput,
                HasSubstr(R"("restarts":null)"));
    EXPECT_THAT(run({"report", "-"}, tickAt("10") + tickAt("12")).standardOutput,
                HasSubstr("Restarts  0\n"));
}

TEST(ReportEdges, countTheLinesOfTheTimeThatIsAskedForOnly) {
    const std::string log = "foreign\n" + warningAt("10") + headAt("11") + "cut\n" +
                            "foreign\nforeign\n" + warningAt("20") + "foreign\n" + warningAt("30");
    EXPECT_THAT(run({"report", "--json", "-", "--since", "2026-11-14T03:24:15+01:00", "--until",
                     "2026-11-14T03:24:25+01:00"},
                    log)
                    .standardOutput,
                HasSubstr(R"("lines":2,"foreign":1,"cut":0,"forged":0)"));
}

TEST(ReportEdges, takeALineOfTheTimeSinceWhichTheyAreAskedForAndNoneOfThatUntilWhich) {
    EXPECT_THAT(run({"report", "--json", "-", "--since", "2026-11-14T03:24:10+01:00", "--until",
                     "2026-11-14T03:24:20+01:00"},
                    warningAt("10") + warningAt("15") + warningAt("20"))
                    .standardOutput,
                HasSubstr(R"({"log":{"first":"2026-11-14T02:24:10.000Z",)"
                          R"("last":"2026-11-14T02:24:15.000Z","lines":2,)"));
}

TEST(ReportEdges, readFilesInTheOrderOfTheirTimes) {
    const TemporaryDirectory directory;
    const std::string first = directory.write("reader.log.1", "foreign\n" + startAt("10", "412"));
    const std::string second = directory.write("reader.log", startAt("20", "413"));
    const std::string without = directory.write("other", "foreign\n");

    const std::string inOrder = run({"report", without, first, second}).standardOutput;
    EXPECT_THAT(inOrder, testing::StartsWith(
                             "Log       2026-11-14 03:24:10 to 2026-11-14 03:24:20, 10.000 s, 4 "
                             "lines\n          2 foreign\nGaps      ?\nRestarts  1\n"));
    EXPECT_THAT(inOrder, Not(HasSubstr("time-jump")));
    EXPECT_EQ(run({"report", second, first, without}).standardOutput, inOrder);
}

TEST(ReportEdges, readFilesInOrderThoughOneBeginsWithoutAClock) {
    const TemporaryDirectory directory;
    const std::string first = directory.write("reader.log.1", tickAt("10"));
    const std::string second = directory.write(
        "reader.log", "[1970-01-01T00:00:09.000+00:00]   412 NOTIC modbusreaderMain Starting "
                      "modbus Reader main.cpp:74\n" +
                          tickAt("20"));

    const std::string inOrder = run({"report", first, second}).standardOutput;
    EXPECT_THAT(inOrder, testing::StartsWith("Log       2026-11-14 03:24:10 to 2026-11-14 "
                                             "03:24:20, 10.000 s, 3 lines\n"));
    EXPECT_EQ(run({"report", second, first}).standardOutput, inOrder);
}

TEST(ReportEdges, readFilesWhoseTimesAreOfNoUseAsTheyAreNamed) {
    const TemporaryDirectory directory;
    const std::string early = directory.write("early", tickAt("10"));
    const std::string late = directory.write("late", tickAt("20"));
    std::string foreign;
    for (int i = 0; i < 100000; ++i)
        foreign += "x\n";
    const std::string long1 = directory.write("long", foreign + tickAt("05"));

    EXPECT_THAT(run({"report", late, early, long1}).standardOutput,
                testing::StartsWith("Log       2026-11-14 03:24:10 to 2026-11-14 03:24:20"));
    EXPECT_THAT(run({"report", late, long1, early}).standardOutput,
                testing::StartsWith("Log       2026-11-14 03:24:10 to 2026-11-14 03:24:05"));
}

TEST(ReportEdges, countALogThatIsNotInItsOrderOnce) {
    const TemporaryDirectory directory;
    const std::string second = directory.write("reader.log", tickAt("20") + tickAt("22"));

    EXPECT_THAT(run({"report", second, "-"}, tickAt("10") + tickAt("12")).standardOutput,
                HasSubstr("note time-jump\n    lines stand behind later ones, 1 time, "
                          "2026-11-14 03:24:10\n"));
}

TEST(ReportEdges, tellThatWhatCanBeReadOnceOnlyIsNotInItsOrder) {
    const TemporaryDirectory directory;
    const std::string second = directory.write("reader.log", startAt("20", "413"));

    const std::string report = run({"report", second, "-"}, startAt("10", "412")).standardOutput;
    EXPECT_THAT(report, testing::StartsWith("Log       2026-11-14 03:24:20 to 2026-11-14 03:24:10, "
                                            "?, 2 lines\n"));
    EXPECT_THAT(report, HasSubstr("note time-jump\n    lines stand behind later ones, 1 time, "
                                  "2026-11-14 03:24:10\n"));
}

TEST(ReportEdges, sayWhatIsUnknownThoughThereAreTroubles) {
    const std::string log =
        tickAt("10") + "=================================\n" + warningAt("11") + tickAt("12");
    EXPECT_THAT(run({"report", "-"}, log).standardOutput,
                HasSubstr("Not in this log: readings, and which meter a failure belongs to. "
                          "VX_LOG=W,modbusreaderSocketWriter:N shows them.\n"));
}

TEST(ReportEdges, nameNoRulesInTheJsonWhereNoneWouldShowWhatIsUnknown) {
    const std::string log =
        headAt("10") + "NOTIC modbusSerial result:{\"data\":{}} toolkit.cpp:1\n" + headAt("11") +
        "WARN  modbusSerial Could not read register strerror((*__errno_location "
        "())):Connection timed out aRegister:{\"address\":10} "
        "toolkit.cpp:345\n";
    EXPECT_THAT(run({"report", "--json", "-"}, log).standardOutput,
                HasSubstr(R"(which come with the start of the reader","log":null}])"));
}

TEST(ReportEdges, tellOfOneMeterWhatTheyTellOfAll) {
    // The meter 5 has no model.
    std::string log = headAt("00") +
                      R"(NOTIC modbusSerial Attached Meters result:{"data":[{"slaveAddress":5},)"
                      R"({"slaveAddress":7}]} toolkit.cpp:1)"
                      "\n" +
                      headAt("00") + "NOTIC modbusSerial Cycling meters toolkit.cpp:1\n";
    for (int minute = 24; minute < 44; ++minute) {
        const std::string poll = tickAt("10") + messageAt("10", minute < 26 ? "OLD" : "NEW", 7);
        log += std::regex_replace(poll, std::regex(":24:"), ":" + std::to_string(minute) + ":");
    }
    const auto troubles = [&](const std::string& meter) {
        const ProgramResult result = run({"report", "--json", "--meter", meter, "-"}, log);
        const std::size_t at = result.standardOutput.find("\"troubles\":");
        return std::pair(result.standardOutput.substr(at, 60), result.status.value_or(-1));
    };
    const std::string none = R"("troubles":[],)";
    EXPECT_THAT(troubles("5").first,
                testing::StartsWith(R"("troubles":[{"key":"meter-never-arrives",)"));
    EXPECT_EQ(troubles("5").second, 1);
    EXPECT_THAT(run({"report", "-", "--meter", "5"}, log).standardOutput,
                HasSubstr("meter-never-arrives meter 5\n"));
    EXPECT_THAT(troubles("OLD").first, testing::StartsWith(none));
    EXPECT_EQ(troubles("OLD").second, 0);
    EXPECT_THAT(troubles("7").first, testing::StartsWith(none));
}
