#include "served-home.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

using namespace inspector;
using testing::HasSubstr;

namespace {

/// The log that is followed: what becomes of it, and what it lacks.
using ServedLogTest = ServedHome;

constexpr const char* loggedValues = R"(,"powerConsumed":1500.5,"energyConsumed":3600000.0)";

} // namespace

TEST_F(ServedLogTest, hintsAtALogWithoutALineOfTheReader) {
    start();
    awaitHome(
        R"("hints":["No line of the reader so far. Is the log's name right, and may it be read?"])");

    tick();
    awaitHome(R"("hints":[])");
}

TEST_F(ServedLogTest, readsOnWhenAnotherLogTakesThePlace) {
    poll(1, loggedValues, 2000);
    start();
    awaitHome(R"("lines":4)");

    std::filesystem::rename(m_log, m_log + ".1");
    poll(1, loggedValues);
    tick();

    awaitHome(R"("lines":9)");
}

TEST_F(ServedLogTest, readsOnWhenTheLogIsEmptied) {
    poll(1, loggedValues, 2000);
    start();
    awaitHome(R"("lines":4)");

    std::filesystem::resize_file(m_log, 0);
    tick();

    awaitHome(R"("lines":5)");
}

TEST_F(ServedLogTest, knowsNoTimeOfWhatStandsAheadOfTheFirstLineWithOne) {
    std::ofstream(m_log) << "Failed to parse /etc/libvx, error:-1\n";
    start();

    awaitHome(R"("key":"bad-log-settings","reason":"","slaveAddress":null)");
    EXPECT_THAT(get("/api/v1/home").body,
                HasSubstr(R"("first":null,"last":null,"ageSeconds":null)"));
}

TEST_F(ServedLogTest, knowsNoNumberOfRestartsWhereTheLogMayNotShowThem) {
    failure("Connection timed out");
    start();

    awaitHome(R"("restarts":null)");
}

TEST_F(ServedLogTest, tellsLinesThatWereCutOrForged) {
    tick();
    start();
    awaitHome(R"("notices":[])");

    std::ofstream(m_log, std::ios::app) << beginOfLine() << "WARN  modbusSerial Could not rea\n";
    line("NOTIC modbusSerial", "Attached Meters result:{\"data\":[{\"name\":\"\n" + beginOfLine() +
                                   "WARN  modbusSerial Could not connect TCP a.cpp:1\n\"}]}");

    const std::string home = awaitHome(R"("key":"lines-forged")");
    EXPECT_THAT(home, HasSubstr(R"({"key":"lines-forged","reason":"","slaveAddress":null,)"
                                R"("head":"values look like lines of the log",)"
                                R"("needsPerson":true,"count":1,)"));
    EXPECT_THAT(home, HasSubstr(R"({"key":"lines-cut","reason":"","slaveAddress":null,)"
                                R"("head":"lines were cut","needsPerson":false,"count":1,)"));
    EXPECT_THAT(home, HasSubstr(R"("troubles":[])"));
    EXPECT_THAT(
        get("/metrics").body,
        HasSubstr("\nmodbus_reader_troubles_total{trouble=\"lines-cut\",reason=\"\"} 1\n"
                  "modbus_reader_troubles_total{trouble=\"lines-forged\",reason=\"\"} 1\n"));
}
