#include "inspector/log/line.h"

#include <gtest/gtest.h>

using namespace inspector;

namespace {

constexpr const char* usual =
    "[2026-11-14T03:24:09.123+01:00]   412 NOTIC modbusSerial Reading meter "
    "now slaveAddress:7 toolkit.cpp:290";

} // namespace

TEST(LogLine, isTakenApart) {
    const Line line = parseLine(usual);

    EXPECT_EQ(line.kind, LineKind::log);
    EXPECT_EQ(line.time, 1794623049123);
    EXPECT_EQ(line.offset, 60);
    EXPECT_EQ(line.thread, 412U);
    EXPECT_EQ(line.severity, vx::LogSeverity::notice);
    EXPECT_EQ(line.channel, "modbusSerial");
    EXPECT_EQ(line.text, "Reading meter now slaveAddress:7");
    EXPECT_EQ(line.file, "toolkit.cpp");
    EXPECT_EQ(line.number, 290U);
    EXPECT_EQ(line.whole, usual);
    EXPECT_FALSE(line.isCut);
}

TEST(LogLine, hasATimeInUtcWhateverItsOffset) {
    const auto timeOf = [](const std::string& time) {
        return parseLine("[" + time + "]   412 INFO  HttpClient x").time;
    };
    EXPECT_EQ(timeOf("1970-01-01T00:00:00.000+00:00"), 0);
    EXPECT_EQ(timeOf("2000-02-29T23:59:59.999-05:30"), 951888599999);
    EXPECT_EQ(timeOf("2026-03-29T03:00:00.000+02:00"), timeOf("2026-03-29T01:00:00.000+00:00"));
}

TEST(LogLine, hasTheSeverityOfItsName) {
    const auto severityOf = [](const std::string& name) {
        return parseLine("[2026-11-14T03:24:09.123+01:00] 31781 " + name + " HttpClient x")
            .severity;
    };
    EXPECT_EQ(severityOf("!!!!!"), vx::LogSeverity::print);
    EXPECT_EQ(severityOf("FATAL"), vx::LogSeverity::fatal);
    EXPECT_EQ(severityOf("ERROR"), vx::LogSeverity::error);
    EXPECT_EQ(severityOf("WARN "), vx::LogSeverity::warning);
    EXPECT_EQ(severityOf("INFO "), vx::LogSeverity::info);
    EXPECT_EQ(severityOf("DEBUG"), vx::LogSeverity::debug);
}

TEST(LogLine, mayBeColoured) {
    const Line line = parseLine("[2026-11-14T03:24:09.123+01:00]   412 \x1B[33;01mWARN \x1B[0m "
                                "modbusreaderSocketWriter Could not connect socket-writer.cpp:36");

    EXPECT_EQ(line.kind, LineKind::log);
    EXPECT_EQ(line.severity, vx::LogSeverity::warning);
    EXPECT_EQ(line.channel, "modbusreaderSocketWriter");
    EXPECT_EQ(line.text, "Could not connect");
}

TEST(LogLine, mayEndAsOnWindows) {
    EXPECT_EQ(parseLine(std::string(usual) + "\r").number, 290U);
}

TEST(LogLine, ofTheHttpClientHasNoPosition) {
    const Line line =
        parseLine("[2026-11-14T03:24:09.123+01:00]   412 DEBUG HttpClient return code: 200");

    EXPECT_EQ(line.text, "return code: 200");
    EXPECT_EQ(line.file, "");
    EXPECT_FALSE(line.isCut);
}

TEST(LogLine, ofAnotherChannelWithoutAPositionIsCut) {
    const Line line =
        parseLine("[2026-11-14T03:24:09.123+01:00]   412 NOTIC modbusSerial Reading me");

    EXPECT_EQ(line.kind, LineKind::log);
    EXPECT_EQ(line.text, "Reading me");
    EXPECT_TRUE(line.isCut);
}

TEST(LogLine, withoutAHeadIsWhatItBeginsWith) {
    EXPECT_EQ(parseLine("=================================").kind, LineKind::rule);
    EXPECT_EQ(parseLine("==").kind, LineKind::foreign);
    EXPECT_EQ(parseLine("Assertion failed.  condition:false x.cpp:1  void f()").kind,
              LineKind::assertion);
    EXPECT_EQ(parseLine("terminate called after throwing an instance of 'std::bad_alloc'").kind,
              LineKind::termination);
    EXPECT_EQ(parseLine("").kind, LineKind::foreign);
    EXPECT_EQ(parseLine("modbus-reader.service: Failed with result 'oom-kill'.").text,
              "modbus-reader.service: Failed with result 'oom-kill'.");
}

TEST(LogLine, whoseHeadIsDamagedAnywhereIsForeign) {
    const std::string head = "[2026-11-14T03:24:09.123+01:00]   412 NOTIC modbusSerial";
    for (std::size_t i = 0; i < head.size(); ++i) {
        std::string damaged = head + " x toolkit.cpp:1";
        damaged[i] = '?';
        EXPECT_EQ(parseLine(damaged).kind, LineKind::foreign) << damaged;
        EXPECT_EQ(parseLine(head.substr(0, i)).kind, LineKind::foreign) << i;
    }
}

TEST(LogLine, withATimeThatThereIsNotIsForeign) {
    for (const std::string time : {"2026-13-14T03:24:09.123+01:00", "2026-00-14T03:24:09.123+01:00",
                                   "2026-11-32T03:24:09.123+01:00", "2026-11-14T24:24:09.123+01:00",
                                   "2026-11-14T03:60:09.123+01:00", "2026-11-14T03:24:61.123+01:00",
                                   "2400-01-01T00:00:00.000+00:00", "2262-01-01T00:00:00.000+00:00",
                                   "1677-12-31T00:00:00.000+00:00", "2026-11-14T03:24:09.123+01:60",
                                   "2026-11-14T03:24:09.-23+01:00"})
        EXPECT_EQ(parseLine("[" + time + "]   412 NOTIC modbusSerial x toolkit.cpp:1").kind,
                  LineKind::foreign)
            << time;
}
