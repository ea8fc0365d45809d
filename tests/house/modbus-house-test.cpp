#include "house-program.h"

#include <gtest/gtest.h>

using namespace house;

namespace {

ProgramResult refused(const std::string& message) {
    return {2, "",
            "modbus-house: " + message + "\nRun modbus-house --help for more information.\n"};
}

} // namespace

TEST(ModbusHouse, refusesANumberOfPollsThatIsNoneOrOutOfRange) {
    for (const std::string polls :
         {"-1", "0", "100001", "99999999999999999999", "x", "1.5", "0x10", "+5", ""})
        EXPECT_EQ(runInPrivateWorld("exec $house --polls '" + polls + "'"),
                  refused("--polls: '" + polls + "' is no whole number from 1 to 100000"));
}

TEST(ModbusHouse, refusesPollsWithoutANumber) {
    EXPECT_EQ(runInPrivateWorld("exec $house --polls"),
              refused("--polls: 1 required UINT:1 to 100000 missing"));
}

TEST(ModbusHouse, refusesAPortThatIsNoneOrOutOfRange) {
    for (const std::string port : {"0", "65536", "70000", "-1", "x", ""})
        EXPECT_EQ(runInPrivateWorld("exec $house --tcp '" + port + "'"),
                  refused("--tcp: '" + port + "' is no whole number from 1 to 65535"));
}

TEST(ModbusHouse, refusesAnEmptyName) {
    for (const std::string option : {"--home", "--rtu", "--daemon", "--log"})
        EXPECT_EQ(runInPrivateWorld("exec $house " + option + " ''"),
                  refused(option + ": The name is empty"));
}

TEST(ModbusHouse, refusesAnUnknownOption) {
    EXPECT_EQ(runInPrivateWorld("exec $house --colour"),
              refused("The following argument was not expected: --colour"));
}

TEST(ModbusHouse, endsAtASignalWhileItCountsManyPolls) {
    const ProgramResult result = runInPrivateWorld("open_house --polls 100000\nclose_house TERM");

    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.standardOutput.ends_with("\nEnded by a signal.\n")) << result;
}

TEST(ModbusHouse, endsWellAtASignalWhenItCountsNoPolls) {
    for (const std::string signal : {"INT", "TERM", "HUP"})
        EXPECT_EQ(runInPrivateWorld("open_house\nclose_house " + signal).status, 0);
}
