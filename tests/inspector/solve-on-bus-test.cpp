#include "meter-on-bus.h"

#include <gmock/gmock.h>

using namespace inspector;
using house::Fault;

namespace {

class SolveOnBus : public MeterOnBus {
protected:
    ProgramResult solve(const std::string& display, std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), {"solve", display, "--slave", "7", "--from", "0",
                                             "--to", "30", "--time-out", "200"});
        return runOnBus(std::move(arguments));
    }
};

} // namespace

INSPECTOR_ON_BOTH_LINES(SolveOnBus);

TEST_P(SolveOnBus, findsTheRegisterOfWhatTheDisplayShows) {
    const ProgramResult result = solve("1250 W", {"--json"});

    EXPECT_THAT(
        result.standardOutput,
        testing::StartsWith(
            R"({"candidates":[{"register":{"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1,"scaleValue":1.0,"registerType":"input"})"));
    EXPECT_EQ(result.status, 0);
}

TEST_P(SolveOnBus, keepsTheWordsAndComparesThemWithASecondReading) {
    const std::string words = files.path() / "words.json";
    solve("0.5 kWh", {"--keep", words});
    EXPECT_EQ(contentOf(words),
              R"({"holding":{"0":[21293,12544],"20":[0,5]},"input":{"10":[1250]}})"
              "\n");
    meter().holding(20, {0, 9});

    const ProgramResult result = solve("0.5 kWh", {"--words", words, "--again", "0.9 kWh"});

    EXPECT_EQ(
        result.standardOutput,
        R"({"address": 20, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1, "scaleValue": 0.1, "registerType": "holding"}
    uint32 9 x 0.1 is 0.9000001 kWh; hardly any other words would be
    reads the same so far: int32 at address 20
    reads the same so far: uint16 at address 21
)");
    EXPECT_EQ(result.status, 0);
}

TEST_P(SolveOnBus, saysThatTheMeterKeepsSilentAndKeepsNoFile) {
    meter().failAlways(Fault::silence);
    const std::string words = files.path() / "words.json";

    const ProgramResult result = solve("1250 W", {"--keep", words});

    EXPECT_EQ(result.standardError,
              "modbus-inspector: Meter 7, holding register 0: no answer in time\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(std::filesystem::exists(words));
}

TEST_P(SolveOnBus, goesOnWhereTheMeterKeepsSilentInOneSpace) {
    meter().failAlways(house::Space::holding, 0, Fault::silence);

    const ProgramResult result = solve("1250 W", {"--json"});

    EXPECT_THAT(result.standardOutput,
                testing::StartsWith(R"({"candidates":[{"register":{"address":10,)"));
    EXPECT_EQ(result.standardError, "Meter 7, holding register 0: no answer in time; the other "
                                    "registers are looked at alone.\n");
    EXPECT_EQ(result.status, 0);
}

TEST_P(SolveOnBus, findsTheSerial) {
    const ProgramResult result = solve("S-1");

    EXPECT_EQ(
        result.standardOutput,
        R"({"address": 0, "fieldType": "serial", "modbusDataType": "ascii", "length": 2, "scaleValue": 1, "registerType": "holding"}
    ascii reads "S-1"
)");
    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(result.status, 0);
}

TEST_P(SolveOnBus, saysHowOftenItWillAskForManyRegisters) {
    meter().holding(0, std::vector<std::uint16_t>(2000)).input(0, std::vector<std::uint16_t>(2000));

    const ProgramResult result =
        runOnBus({"solve", "1250 W", "--slave", "7", "--from", "0", "--to", "1999"});

    EXPECT_EQ(result.standardError,
              isSerial() ? "Asking 32 times, and more often for what the meter refuses; the line "
                           "alone takes 5 s for it.\n"
                         : "Asking 32 times, and more often for what the meter refuses.\n");
}
