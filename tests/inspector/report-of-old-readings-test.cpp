#include "inspector-program.h"
#include "running-reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

// What the report tells of the real reader when a meter on a line that takes its time answers late
// once: from then on each answer is that to the question before.

using inspector::run;
using testing::HasSubstr;
using testing::Not;

namespace {

/// Fifty registers of one meter, which all show the same, so that nothing stands at a wrong place.
std::string homeOfFiftyRegisters() {
    std::string registers;
    std::string units;
    for (int address = 0; address < 50; ++address) {
        const std::string number = std::to_string(address);
        registers.append(address == 0 ? "" : ",")
            .append(R"({"address":)" + number)
            .append(R"(,"fieldType":"powerImport","modbusDataType":"uint16","length":1})");
        units.append(address == 0 ? "" : ",").append(R"("holding )" + number + R"(":"x")");
    }
    return R"({"server":{"rtuconfig":{"data":{"baudRate":"baud9600","parity":"even",)"
           R"("dataBits":"bits8","stopBits":"bits1"}},)"
           R"("attached":{"data":[{"configId":"m","name":"Roof","slaveAddress":1,"serial":"R-1"}]},)"
           R"("supported":{"data":[{"id":"m","registers":[)" +
           registers +
           R"(]}]}},"behaviour":{"startHour":0,"wireTime":true,)"
           R"("signals":{"x":{"kind":"constant","value":1000}},"units":{"1":{)" +
           units + "}}}}";
}

std::string reportOf(const RunningReader& reader) {
    std::string log;
    for (const std::string& line : reader.log())
        log += line + "\n";
    return run({"report", "-"}, log).standardOutput;
}

} // namespace

TEST(ReportOfOldReadings, tellsThemByAnswersThatTheLineCantHaveCarriedSoSoon) {
    RunningReader reader(homeOfFiftyRegisters(),
                         R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");
    reader.start("N");
    reader.poll();
    EXPECT_THAT(reportOf(reader), Not(HasSubstr("late-answer")));

    reader.bus().unit(1).failNext(20, house::Fault::late(std::chrono::milliseconds(1300)));
    // The poll of the late answer, and those behind it.
    std::string report;
    for (int polls = 0; polls < 5 && report.find("late-answer") == std::string::npos; ++polls) {
        reader.poll();
        report = reportOf(reader);
    }
    EXPECT_THAT(report, HasSubstr("trouble late-answer\n    values sooner than the line carries "
                                  "them, from answers to earlier questions, "));
    EXPECT_THAT(report, HasSubstr("Don't trust the values since then."));
    EXPECT_THAT(report, Not(HasSubstr("Not in this log")));
}
