#include "inspector-program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

using namespace inspector;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string head = "[2026-11-14T03:24:09.123+01:00]   412 ";

std::string errorText(const std::string& message) {
    return "modbus-inspector: " + message + "\n";
}

std::string usage(const std::string& message) {
    return errorText(message) + "Run modbus-inspector --help for more information.\n";
}

std::string message(const std::string& second, int slaveAddress) {
    const std::string address = std::to_string(slaveAddress);
    const std::string text = R"({"id":"S-)" + address + R"(","slaveAddress":)" + address +
                             R"(,"meteringType":"modbus","lastChanged":"2026-11-14T02:24:)" +
                             second + R"(.000Z","powerConsumed":1500.5})";
    const std::string writer =
        "[2026-11-14T03:24:" + second + ".500+01:00]   412 NOTIC modbusreaderSocketWriter ";
    const std::string size = std::to_string(text.size());
    return "=================================\n" + writer + "Writing  m_buffer:" + text +
           " socket-writer.cpp:41\n" + writer + "TRANSFERRED  self->m_buffer.size():" + size +
           " size:" + size + " socket-writer.cpp:47\n";
}

std::string pollAt(const std::string& second) {
    return message(second, 1) + message(second, 2);
}

std::string withoutScripts(std::string page) {
    for (std::size_t i = page.find("<script"); i != std::string::npos; i = page.find("<script"))
        page.erase(i, page.find("</script>") - i + 9);
    return page;
}

const std::string threePolls = pollAt("10") + pollAt("12") + pollAt("14");

} // namespace

TEST(Report, ofAHealthyHomeEndsWithStatusZero) {
    EXPECT_EQ(run({"report", "-"}, threePolls).standardOutput,
              R"(Log       2026-11-14 03:24:10 to 2026-11-14 03:24:14, 4.000 s, 18 lines
Gaps      0
Restarts  0
Polls     3, median 2.000 s, 95th of 100 2.000 s, longest 2.000 s
Messages  6 offered, 6 delivered, 0 lost

  meter  id   name  polls     good  delivered  lost  carried  last good reading
      1  S-1            3  100.0 %          3     0        0  2026-11-14 03:24:14, 0.500 s ahead of the end
      2  S-2            3  100.0 %          3     0        0  2026-11-14 03:24:14, 0.500 s ahead of the end

No trouble.

Not in this log: the names of the meters, the least length of a poll, values that stand at the wrong register, and readings that are older than their times. VX_LOG=N shows them.
)");
    EXPECT_EQ(run({"report", "-"}, threePolls).status, 0);
}

TEST(Report, isAlsoOneJsonDocument) {
    const std::string failure =
        "[2026-11-14T03:24:14.300+01:00]   412 WARN  modbusSerial Could not read register "
        "strerror((*__errno_location ())):Connection timed out aRegister:{\"address\":10,"
        "\"fieldType\":powerImport,\"registerType\":input} toolkit.cpp:345\n";
    const ProgramResult result =
        run({"report", "--json", "--meter", "S-2", "-"},
            pollAt("10") + pollAt("12") + failure + message("14", 1) + message("14", 2));

    EXPECT_EQ(result.standardOutput,
              R"({"log":{"first":"2026-11-14T02:24:10.500Z","last":"2026-11-14T02:24:14.500Z",)"
              R"("lines":19,"foreign":0,"cut":0,"forged":0,"leftOut":0,"gapCount":0,)"
              R"("gaps":[],"damages":[]},)"
              R"("polls":{"count":3,"medianSeconds":2.0,"p95Seconds":2.0,"longestSeconds":2.0,)"
              R"("leastSeconds":null},"restarts":0,"assertionFailures":0,)"
              R"("delivery":{"offered":6,"delivered":6,"lost":0},"meters":[{"slaveAddress":2,)"
              R"("id":"S-2","name":"","polls":3,"goodPolls":2,"delivered":3,"lost":0,"carried":1,)"
              R"("shifted":0,)"
              R"("lastGood":"2026-11-14T02:24:12.000Z","ageSeconds":2.5,"failures":[)"
              R"({"registerType":"input","address":10,"fieldType":"powerImport","kind":"timeout",)"
              R"("count":1,"first":"2026-11-14T02:24:14.300Z","last":"2026-11-14T02:24:14.300Z",)"
              R"("longestRun":1}],"counters":[],"reading":{"time":"2026-11-14T02:24:14.000Z",)"
              R"("tariffEnabled":false,"powerConsumed":1500.5}}],"unattributedFailures":[],)"
              R"("troubles":[{"key":"register-unread","reason":"timeout","needsPerson":true,)"
              R"("slaveAddress":2,"title":"Connection timed out","subject":"input 10 powerImport",)"
              R"("count":1,"first":"2026-11-14T02:24:14.300Z","last":"2026-11-14T02:24:14.300Z",)"
              R"("meaning":"The meter didn't answer in time. If other registers fail or show )"
              R"(strange values from then on, an answer came after the time-out.","remedy":"Check )"
              R"(wiring, slave address, baud rate and parity, and whether the meter has power. If )"
              R"(it is slow, raise timeoutResponseSec and restart the reader; on RS-485 also take )"
              R"(the bus off the port for one poll.","see":["An answer that comes too late"]}],)"
              R"("unknown":[{"what":"the names of the meters, the least length of a poll, )"
              R"(values that stand at the wrong register, and readings that are older than )"
              R"(their times","log":"N"}]})"
              "\n");
    EXPECT_EQ(result.status, 1);
}

TEST(Report, isAlsoAPageThatLoadsNothing) {
    const ProgramResult result = run({"report", "--html", "-"}, threePolls);

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.standardOutput, testing::StartsWith("<!doctype html>\n<html lang=\"en\">"));
    EXPECT_THAT(result.standardOutput, HasSubstr("<td>S-2</td>"));
    EXPECT_THAT(result.standardOutput, testing::EndsWith("</body>\n</html>\n"));
    // A browser keeps the library of the plots from loading anything, too.
    EXPECT_THAT(result.standardOutput,
                HasSubstr("content=\"default-src 'none'; style-src 'unsafe-inline'; "
                          "script-src 'unsafe-inline'\""));
    for (const char* reference : {"http:", "https:", "src=", "href=", "url("})
        EXPECT_THAT(withoutScripts(result.standardOutput), Not(HasSubstr(reference)));
}

TEST(Report, holdsOnItsPageTheLicenseOfTheLibraryThatItHolds) {
    const std::string page = run({"report", "--html", "-"}, threePolls).standardOutput;

    const std::string license = R"(/*
dygraphs, of which this is the whole library:

Copyright (c) 2006, 2009, 2011, 2012, 2013, 2017 Dan Vanderkam <danvdk@gmail.com>
)";
    const std::string permission =
        "The above copyright notice and this permission notice shall be "
        "included in all copies or substantial\nportions of the Software.\n";
    EXPECT_THAT(page, HasSubstr("<script>\n" + license));
    EXPECT_THAT(page, HasSubstr("<style>" + license));
    EXPECT_THAT(page, HasSubstr(permission));
}

TEST(Report, saysOnItsPageWhatItSaysAsText) {
    const std::string failure =
        "[2026-11-14T03:24:14.900+01:00]   412 WARN  modbusSerial Could not read register "
        "strerror((*__errno_location ())):"
        "Connection timed out aRegister:{\"address\":10,\"fieldType\":powerImport,"
        "\"registerType\":input} toolkit.cpp:345\n";
    const std::string page =
        withoutScripts(run({"report", "--html", "-"}, threePolls + failure + "Segmentation fault\n")
                           .standardOutput);

    for (const char* text :
         {"<td>1 foreign</td>", "<td>3, median 2.000 s, 95th of 100 2.000 s, longest 2.000 s</td>",
          "<td>2026-11-14 03:24:14, 0.900 s ahead of the end</td>", "<td>100.0 %</td>",
          "See \"An answer that comes too late\" in operations.md.</p>"})
        EXPECT_THAT(page, HasSubstr(text));
}

TEST(Report, showsPowersAndEnergiesOnItsPage) {
    const auto read = [](const std::string& time, const std::string& values) {
        const std::string text = R"({"id":"S</script>","slaveAddress":1,"meteringType":"modbus",)"
                                 R"("lastChanged":"2026-11-)" +
                                 time + R"(.000Z",)" + values + "}";
        return "[2026-11-" + time +
               ".500+00:00]   412 NOTIC modbusreaderSocketWriter Writing  m_buffer:" + text +
               " socket-writer.cpp:41\n";
    };
    const std::string log =
        read("14T12:00:00", R"("powerConsumed":1500.5,"energyConsumed":3600000)") +
        read("14T12:00:20", R"("powerProduced":500,"energyConsumed":7200000)") +
        read("15T12:00:00",
             R"("powerProduced":500,"energyConsumed":10800000,"t1EnergyProduced":36000)");
    const std::string page = run({"report", "--html", "-"}, log).standardOutput;

    EXPECT_THAT(page, HasSubstr(R"(id="powers">{"longest":80000,"meters":[{"name":)"
                                R"("meter 1, S\u003c/script>","powers":[[1794657600000,1500.5],)"
                                R"([1794657615000,-500.0],[1794744000000,-500.0]]}]}</script>)"));
    EXPECT_THAT(page, HasSubstr("<tr><td>2026-11-15</td>\n<td>meter 1, S&lt;/script></td>\n"
                                "<td>1.00</td>\n<td>–</td>\n<td>T1 – / 0.00</td>\n</tr>"));
    EXPECT_THAT(run({"report", "--html", "--meter", "2", "-"}, log + pollAt("10")).standardOutput,
                Not(HasSubstr("meter 1")));
}

TEST(Report, showsWhatALogHoldsAsTextOnItsPage) {
    const std::string log =
        head + "WARN  modbusSerial Error requesting from server code:503 result:<script>\"&' "
               "toolkit.cpp:1\n";
    EXPECT_THAT(run({"report", "--html", "-"}, log).standardOutput,
                HasSubstr("Error requesting from server code:503 "
                          "result:&lt;script>\"&amp;', 1 time, "));
}

TEST(Report, looksAtATimeOnly) {
    const auto polls = [](const std::vector<std::string>& times) {
        std::vector<std::string> arguments = {"report", "-"};
        arguments.insert(arguments.end(), times.begin(), times.end());
        const ProgramResult result = run(arguments, threePolls);
        return result.standardOutput.substr(0, result.standardOutput.find(','));
    };
    EXPECT_EQ(polls({"--since", "2026-11-14T02:24:12Z"}),
              "Log       2026-11-14 03:24:12 to 2026-11-14 03:24:14");
    EXPECT_EQ(polls({"--until", "2026-11-14 03:24:13+01:00"}),
              "Log       2026-11-14 03:24:10 to 2026-11-14 03:24:12");
    EXPECT_EQ(run({"report", "-", "--since", "2026-11-15Z"}, threePolls),
              (ProgramResult{2, "", errorText("No line of the reader's log within these times")}));
}

TEST(Report, refusesWrongUsage) {
    const auto refused = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "report");
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.standardOutput, "");
        return result.standardError;
    };
    EXPECT_EQ(refused({}), usage("log is required"));
    EXPECT_EQ(refused({"-", "-"}), usage("Standard input can be read once only"));
    EXPECT_EQ(refused({"/nowhere"}), errorText("/nowhere: No such file or directory"));
    EXPECT_EQ(refused({"/"}), errorText("/: Is a directory"));
    EXPECT_EQ(refused({"/dev/null"}), errorText("No line of the reader's log"));
    EXPECT_EQ(refused({"-", "--since", "yesterday"}),
              usage("--since: 'yesterday' is no time such as 2026-11-22T18:00 or -1h"));
    EXPECT_EQ(refused({"-", "--since", "2026-11-22", "--until", "2026-11-22"}),
              usage("--since is not before --until"));
    EXPECT_EQ(refused({"-", "--json", "--html"}), usage("--json excludes --html"));
}

TEST(Report, refusesAMeterThatIsNotInTheLog) {
    EXPECT_EQ(run({"report", "-", "--meter", "9"}, threePolls),
              (ProgramResult{2, "", errorText("No meter '9' in this log")}));
}

TEST(Report, readsLogsOneAfterAnother) {
    const TemporaryDirectory directory;
    const std::string first = directory.write("a", pollAt("10"));
    const std::string second = directory.write("b", pollAt("12"));
    EXPECT_THAT(run({"report", first, second}).standardOutput, HasSubstr("Polls     2, median"));
}

TEST(Report, tellsThatAPackedLogIsCutAndNeedsAPerson) {
    const TemporaryDirectory directory;
    const std::string plain = directory.write("plain", threePolls);
    const std::string packed = (directory.path() / "packed").string();
    ASSERT_EQ(std::system(("gzip <" + plain + " | head -c 150 >" + packed).c_str()), 0);
    const ProgramResult result = run({"report", packed});
    EXPECT_THAT(result.standardOutput,
                HasSubstr(packed + ": the end of the compressed file is missing\n"));
    EXPECT_EQ(result.status, 1);
}

TEST(Report, countsWhatIsNoLogForWhatItIs) {
    const std::string forged =
        R"([2026-11-14T03:24:09.123+01:00] 412 NOTIC modbusSerial Attached Meters result:{"data":[{"name":")"
        "\n" +
        head +
        "WARN  modbusSerial Could not connect TCP strerror(x):y toolkit.cpp:1\n\"}]} "
        "toolkit.cpp:1\n";
    const ProgramResult result =
        run({"report", "-"}, std::string("middle of a line\n\0\0\n", 20) + head +
                                 "WARN  modbusSerial Could not rea\n" + forged + threePolls);
    EXPECT_THAT(result.standardOutput, HasSubstr("2 foreign\n"));
    EXPECT_THAT(result.standardOutput, HasSubstr("1 cut\n"));
    EXPECT_THAT(result.standardOutput, HasSubstr("1 forged within values\n"));
    EXPECT_THAT(result.standardOutput, Not(HasSubstr("no-tcp")));
    EXPECT_THAT(result.standardOutput, Not(HasSubstr("register-unread")));
}

TEST(Report, ofAnyBytesEndsWithoutACrash) {
    std::minstd_rand random(1);
    for (int round = 0; round < 30; ++round) {
        std::string log = threePolls + threePolls;
        for (int i = 0; i < 20; ++i)
            log[random() % log.size()] = static_cast<char>(random());
        log.erase(random() % log.size(), random() % 100);
        for (const char* form : {"--json", "--html"}) {
            const auto status = run({"report", form, "-"}, log).status;
            EXPECT_TRUE(status == 0 || status == 1) << log;
        }
    }
}
