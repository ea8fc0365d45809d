// The home that `read` writes for the simulated house.

#include "meter-on-bus.h"

#include "house/home.h"
#include "house/local-server.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

using namespace inspector;
using house::Fault;

namespace {

class ReadHome : public MeterOnBus {
protected:
    /// What `read` tells in a house that plays the home, where it asks the local server too.
    std::string toldByHouse() const {
        house::Home home(file);
        const auto line = isSerial() ? std::make_unique<house::PtyPair>() : nullptr;
        house::LocalServer server;
        house::ModbusSlave copy = line ? house::ModbusSlave(house::Tty{line->slaveEnd()})
                                       : house::ModbusSlave(house::TcpPort{});
        home.serveOn(server);
        home.liveOn(copy);
        const std::string port = std::to_string(copy.port());
        return withoutTimes(
            run({"read", "--server", line ? "--rtu" : "--tcp",
                 line ? line->masterEnd() : "127.0.0.1:" + port, "--time-out", "1000"})
                .standardOutput);
    }

    const std::string file = files.path() / "home.json";
};

} // namespace

INSPECTOR_ON_BOTH_LINES(ReadHome);

TEST_P(ReadHome, showsWhatWasRead) {
    const ProgramResult result = readMeter({"--home", file});

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(toldByHouse(), withoutTimes(result.standardOutput));
}

TEST_P(ReadHome, failsAsTheMeterDid) {
    meter().failNext(10, Fault::exception(2)).failNext(20, Fault::silence);

    const ProgramResult result = readMeter({"--home", file, "--time-out", "1000"});

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(toldByHouse(), withoutTimes(result.standardOutput));
}

TEST_P(ReadHome, holdsWhateverMapAndWordsAreOf) {
    // A scale of 0, no words, more than 125, an address twice, and a number that is none.
    const std::string odd = files.write("odd.json", R"({"id": "odd", "registers": [
        {"address": 30, "fieldType": "powerImport", "modbusDataType": "float32", "length": 1,
         "scaleValue": 0},
        {"address": 30, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1},
        {"address": 30, "fieldType": "energyExport", "modbusDataType": "uint16"},
        {"address": 30, "fieldType": "serial", "modbusDataType": "ascii", "length": 126}]})");
    meter().holding(30, {0x7FC0, 1});

    const ProgramResult result =
        runOnBus({"read", "--supported", odd, "--slave", "7", "--home", file});

    EXPECT_EQ(toldByHouse(), withoutTimes(result.standardOutput));
}

TEST_P(ReadHome, isOfWholePollsAlone) {
    meter().failAlways(Fault::silence);
    Program program(
        onBus({"read", "--supported", map, "--slave", "7", "--home", file, "--time-out", "1000"}));
    ASSERT_TRUE(bus().waitForRequests(1));

    program.signal(SIGHUP);

    const ProgramResult result = program.wait();
    EXPECT_THAT(
        result.standardError,
        testing::EndsWith("modbus-inspector: No whole poll was read, so there is no home\n"));
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_P(ReadHome, isNoneOfTheFileOfTheRecord) {
    const ProgramResult result = readMeter({"--home", file, "--record", file});

    EXPECT_EQ(result.standardError, "modbus-inspector: " + file + ": File exists\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(bus().requestCount(), 0U);
    EXPECT_FALSE(std::filesystem::exists(file));
}
