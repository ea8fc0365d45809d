#include "example-home.h"
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
    for (const std::string port : {"0", "65536"})
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

TEST(ModbusHouse, removesItsLinkAndItsSocketAtASignal) {
    EXPECT_EQ(runInPrivateWorld(
                  "open_house --rtu tty; [[ -c tty && -S /run/orv-metering.sock ]] || exit 3;"
                  "close_house TERM >/dev/null; ls /run /dev/shm")
                  .standardOutput,
              "/dev/shm:\n\n/run:\n");
}

TEST(ModbusHouse, twoAtOnceAreOneTooManyAndTheFirstOneStays) {
    EXPECT_EQ(runInPrivateWorld(
                  "open_house --rtu tty; before=$(readlink tty); $house --rtu tty; status=$?;"
                  "[[ -S /run/orv-metering.sock && $(readlink tty) == $before ]] || exit 3;"
                  "exit $status"),
              (ProgramResult{1, "", "modbus-house: 127.0.0.1:8088: Address already in use\n"}));
}

TEST(ModbusHouse, anErrorAtTheStartLeavesNothingBehind) {
    EXPECT_EQ(runInPrivateWorld("mkdir tty; $house --rtu tty; ls /run /dev/shm"),
              (ProgramResult{0, "/dev/shm:\ntty\n\n/run:\n",
                             "modbus-house: tty is no symbolic link: File exists\n"}));
}

TEST(ModbusHouse, itsSocketIsOpenToTheGroupMetering) {
    EXPECT_EQ(runInPrivateWorld(
                  "add_group metering; umask 077; open_house;"
                  "stat --format='%G %a' /run/orv-metering.sock; close_house TERM >/dev/null")
                  .standardOutput,
              "metering 660\n");
}

TEST(ModbusHouse, itsSerialLineIsOpenToTheGroupDialout) {
    EXPECT_EQ(
        runInPrivateWorld("add_group dialout; open_house --rtu tty;"
                          "stat --dereference --format='%G %a' tty; close_house TERM >/dev/null")
            .standardOutput,
        "dialout 660\n");
}

TEST(ModbusHouse, goesOnWithoutTheGroupMetering) {
    EXPECT_EQ(runInPrivateWorld("umask 077; open_house; stat --format=%a /run/orv-metering.sock;"
                                "close_house TERM >/dev/null")
                  .standardOutput,
              "700\n");
}

TEST(ModbusHouse, refusesATextThatIsNoFault) {
    EXPECT_EQ(runInPrivateWorld("exec $house --fault 3=loud"),
              refused("--fault: '3=loud' is none of ADDRESS=silent, ADDRESS=exception:1 to 11, "
                      "ADDRESS=late:1 to 99999, ADDRESS=garbled, ADDRESS=unit:1 to 247, "
                      "rtuconfig|attached|supported=status:400 to 599"));
}

TEST(ModbusHouse, refusesAFaultOfNoMeter) {
    EXPECT_EQ(
        runInPrivateWorld("exec $house --fault 99=silent"),
        (ProgramResult{1, "", "modbus-house: The fault 99=silent fits no meter of the home\n"}));
}

TEST(ModbusHouse, refusesASecondFaultOfOnePlace) {
    EXPECT_EQ(runInPrivateWorld("exec $house --fault 3=silent --fault 3=late:5"),
              (ProgramResult{1, "",
                             "modbus-house: The fault 3=late:5 is the second one of its place\n"}));
}

TEST(ModbusHouse, namesTheFileAndThePlaceOfAMistake) {
    EXPECT_EQ(runInPrivateWorld("echo '{\"server\":{}}' >home.json; exec $house --home home.json"),
              (ProgramResult{1, "", "modbus-house: home.json: behaviour: Missing\n"}));
}

TEST(ModbusHouse, theExampleOfTheDocumentRunsWithTheReader) {
    const TemporaryDirectory directory;
    const ProgramResult result = runInPrivateWorld(
        R"(echo '{"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502}}' )"
        ">/etc/modbus-config.json\n"
        "exec $house --home " +
        directory.write("home.json", exampleHome()) +
        " --daemon " READER_EXECUTABLE " --log log --polls 1");

    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.standardOutput.ends_with("\nEvery meter delivered in each poll, 1 of 1.\n"))
        << result;
}

TEST(ModbusHouse, aSecondReaderConnectsToItsLineToo) {
    // A reader that is killed may leave a connection without a message, which the house tells.
    EXPECT_EQ(runInPrivateWorld("exec 2>/dev/null\n"
                                "open_house --rtu /dev/ttymxc2\n"
                                "for log in first second; do\n"
                                "    " READER_EXECUTABLE " 2>$log & reader=$!\n"
                                "    timeout 30 tail -F -n +1 $log 2>&1 | grep -q 'Writing '\n"
                                "    kill $reader; wait $reader\n"
                                "    grep -c 'Could not connect serial' $log\n"
                                "done"),
              (ProgramResult{1, "0\n0\n", ""}));
}

TEST(ModbusHouse, aReadingWithoutAValueIsNoneOfItsPoll) {
    // With a serial on the list a meter delivers though nothing of it can be read.
    std::string home = exampleHome();
    home.insert(home.find(R"("name": "Roof")"), R"("serial": "ROOF0001", )");
    const TemporaryDirectory directory;
    const ProgramResult result = runInPrivateWorld(
        "echo '{\"modbusMiscConfig\":{\"modbusTCPServer\":\"127.0.0.1\","
        "\"port\":1502}}' >/etc/modbus-config.json\n"
        "$house --home " +
        directory.write("home.json", home) +
        " --daemon " READER_EXECUTABLE " --log log --polls 1 --fault 2=exception:2 >words\n"
        "grep -q '^poll 0  Roof ' words && grep -A1 '^Not' words");

    EXPECT_EQ(result, (ProgramResult{0, "Not delivered:\n  poll 1: Roof\n", ""}));
}

TEST(ModbusHouse, endsWhenNobodyReadsItsOutputThoughItHasNothingToWrite) {
    EXPECT_EQ(runInPrivateWorld("$house | read -r heading; echo status ${PIPESTATUS[0]}"),
              (ProgramResult{0, "status 1\n", "Nobody reads the output.\n"}));
}

TEST(ModbusHouse, addsToALogThatIsThere) {
    EXPECT_EQ(runInPrivateWorld("echo before >log\n"
                                "$house --daemon /bin/true --log log >words; cat log"),
              (ProgramResult{0, "before\n", ""}));
}

TEST(ModbusHouse, isEndedByASignalWhileItReadsADescription) {
    EXPECT_EQ(runInPrivateWorld("mkfifo home.json\n"
                                "$house --home home.json & house_pid=$!\n"
                                "exec 3>home.json\n" // returns when the house reads
                                "kill -TERM $house_pid; wait $house_pid; echo status $?"),
              (ProgramResult{0, "status 143\n", ""}));
}

TEST(ModbusHouse, endsWhenNobodyReadsItsOutput) {
    EXPECT_EQ(
        runInPrivateWorld("$house --rtu tty --daemon " READER_EXECUTABLE
                          " --log log | read -r heading\n"
                          "echo status ${PIPESTATUS[0]}; ls /run /dev/shm"),
        (ProgramResult{0, "status 1\n/dev/shm:\nlog\n\n/run:\n", "Nobody reads the output.\n"}));
}
