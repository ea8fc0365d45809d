#include "inspector-program.h"

#include "house/local-server.h"
#include "inspector/input/sources.h"

#include <gtest/gtest.h>

using namespace inspector;

namespace {

struct WrongUsage {
    const char* name;
    std::vector<std::string> arguments;
    std::string complaint;
};

/// No pattern may go through it by recursion.
const std::string longName(100000, 'a');

class CommandLine : public testing::TestWithParam<WrongUsage> {};

} // namespace

TEST_P(CommandLine, isRefusedWithWhatIsWrong) {
    const ProgramResult result = run(GetParam().arguments);

    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "modbus-inspector: " + GetParam().complaint +
                                        "\nRun modbus-inspector --help for more information.\n");
    EXPECT_EQ(result.status, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Wrong, CommandLine,
    testing::Values(
        WrongUsage{"nothing", {}, "A subcommand is required"},
        WrongUsage{"unknownCommand", {"guess"}, "The following argument was not expected: guess"},
        WrongUsage{"mapOfNothing",
                   {"map"},
                   "Nothing to look at: give --supported, --attached, --serial, --config or "
                   "--server"},
        WrongUsage{"twiceFromStandardInput",
                   {"map", "--supported", "-", "--attached", "-"},
                   "Only one document can come from standard input"},
        WrongUsage{"emptyFileName", {"map", "--supported", ""}, "--supported: The name is empty"},
        WrongUsage{"serverWithAPath",
                   {"map", "--server", "http://127.0.0.1:8088/api"},
                   "--server: 'http://127.0.0.1:8088/api' is no address such as "
                   "http://127.0.0.1:8088"},
        WrongUsage{"serverWithoutAName",
                   {"map", "--server", "http:///"},
                   "--server: 'http:///' is no address such as http://127.0.0.1:8088"},
        WrongUsage{"serverWithAnotherScheme",
                   {"map", "--server", "https://127.0.0.1:8088"},
                   "--server: 'https://127.0.0.1:8088' is no address such as "
                   "http://127.0.0.1:8088"},
        WrongUsage{"serverWithALongName",
                   {"map", "--server", "http://" + longName + "/api"},
                   "--server: 'http://" + longName +
                       "/api' is no address such as http://127.0.0.1:8088"},
        WrongUsage{
            "modelOfNoMeter", {"read", "--server", "--model", "m"}, "--model requires --slave"},
        WrongUsage{"slaveBelowZero",
                   {"read", "--server", "--slave", "-1"},
                   "--slave: '-1' is no whole number from 0 to 255"},
        WrongUsage{"slaveTooLarge",
                   {"read", "--server", "--slave", "256"},
                   "--slave: '256' is no whole number from 0 to 255"},
        WrongUsage{"hugeNumberOfPolls",
                   {"read", "--server", "--polls", "99999999999999999999"},
                   "--polls: '99999999999999999999' is no whole number from 1 to 100000"},
        WrongUsage{"noNumberOfPolls",
                   {"read", "--server", "--polls", "many"},
                   "--polls: 'many' is no whole number from 1 to 100000"},
        WrongUsage{"noPolls",
                   {"read", "--server", "--polls", "0"},
                   "--polls: '0' is no whole number from 1 to 100000"},
        WrongUsage{"tcpWithoutAPort",
                   {"scan", "--tcp", "127.0.0.1"},
                   "--tcp: '127.0.0.1' is no HOST:PORT, such as 192.168.1.5:502"},
        WrongUsage{"bothBuses",
                   {"scan", "--tcp", "127.0.0.1:502", "--rtu", "/dev/ttyS0"},
                   "--tcp excludes --rtu"},
        WrongUsage{"baudRateOfTcp",
                   {"scan", "--tcp", "127.0.0.1:502", "--baud", "9600"},
                   "--baud requires --rtu"},
        WrongUsage{"oddBaudRate",
                   {"scan", "--rtu", "/dev/ttyS0", "--baud", "9601"},
                   "--baud: 9601 not in {9600,19200,38400,57600,115200}"},
        WrongUsage{"allLinesAndOneRate",
                   {"scan", "--rtu", "/dev/ttyS0", "--all-lines", "--baud", "9600"},
                   "--baud excludes --all-lines"},
        WrongUsage{"allLinesAndOneParity",
                   {"scan", "--rtu", "/dev/ttyS0", "--all-lines", "--parity", "even"},
                   "--parity excludes --all-lines"},
        WrongUsage{"allLinesAndStopBits",
                   {"scan", "--rtu", "/dev/ttyS0", "--all-lines", "--stop", "1"},
                   "--stop excludes --all-lines"},
        WrongUsage{"allLinesOfTcp",
                   {"scan", "--tcp", "127.0.0.1:502", "--all-lines"},
                   "--all-lines requires --rtu"},
        WrongUsage{"scanOfNoBus", {"scan"}, "No bus: give --tcp or --rtu"},
        WrongUsage{"scanBackwards",
                   {"scan", "--tcp", "127.0.0.1:502", "--from", "9", "--to", "8"},
                   "--from is behind --to"},
        WrongUsage{"scanOfTheBroadcastAddress",
                   {"scan", "--tcp", "127.0.0.1:502", "--from", "0"},
                   "--from: '0' is no whole number from 1 to 247"},
        WrongUsage{"solveWithoutWords", {"solve", "1 W"}, "No words: give --words, --tcp or --rtu"},
        WrongUsage{"solveWithoutARange",
                   {"solve", "1 W", "--tcp", "127.0.0.1:502"},
                   "Which registers: give --from and --to"},
        WrongUsage{
            "solveOfFileAndBus",
            {"solve", "1 W", "--words", "w", "--tcp", "127.0.0.1:502", "--from", "0", "--to", "1"},
            "Words from a file, or --tcp or --rtu: not both"},
        WrongUsage{"solveAgainWithoutTheFirstWords",
                   {"solve", "1 W", "--again", "2 W", "--words-again", "w"},
                   "--again needs the --words of the first reading"},
        WrongUsage{"solveAgainWithoutWords",
                   {"solve", "1 W", "--words", "w", "--again", "2 W"},
                   "No words: give --words-again, --tcp or --rtu"},
        WrongUsage{"wordsAgainWithoutADisplay",
                   {"solve", "1 W", "--words", "w", "--words-again", "w"},
                   "--words-again needs --again"},
        WrongUsage{"keepOfAFile",
                   {"solve", "1 W", "--words", "w", "--keep", "k"},
                   "--keep needs --tcp or --rtu"},
        WrongUsage{"unknownField",
                   {"solve", "1 W", "--words", "w", "--field", "energy"},
                   "--field: 'energy' is no field of a register"},
        WrongUsage{"unknownFormat",
                   {"schema", "home"},
                   "format: home not in {supported,attached,serial,config,message}"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Input, thatCannotBeReadIsNamed) {
    const TemporaryDirectory files;
    const std::string missing = files.path() / "missing.json";

    const ProgramResult noFile = run({"map", "--supported", missing});
    const ProgramResult folder = run({"map", "--supported", files.path()});

    EXPECT_EQ(noFile.standardError,
              "modbus-inspector: " + missing + ": No such file or directory\n");
    EXPECT_EQ(noFile.status, 2);
    EXPECT_EQ(folder.standardError,
              "modbus-inspector: " + files.path().string() + ": Is a directory\n");
    EXPECT_EQ(folder.status, 2);
}

TEST(Input, aServerThatIsNotThereIsNamed) {
    const ProgramResult result = run({"map", "--server", "http://127.0.0.1:1"});

    EXPECT_EQ(result.standardError,
              "modbus-inspector: http://127.0.0.1:1/api/v1/apartment/meterings/modbus/"
              "rtuconfig: no answer\n");
    EXPECT_EQ(result.status, 2);
}

TEST(Input, aServerWithALongNameIsNotThereEither) {
    const ProgramResult result = run({"map", "--server", "http://127.0.0.1." + longName});

    EXPECT_EQ(result.standardError, "modbus-inspector: http://127.0.0.1." + longName +
                                        "/api/v1/apartment/meterings/modbus/rtuconfig: "
                                        "no answer\n");
    EXPECT_EQ(result.status, 2);
}

TEST(Input, aServerIsThatOfThisMachineByItsAddress) {
    for (const char* own : {"http://localhost", "http://127.0.0.1:8088", "http://127.1.2.3",
                            "http://[::1]", "http://[::1]:8088"})
        EXPECT_TRUE(isOwnServer(own)) << own;
    for (const char* other : {"http://10.0.0.1", "http://127.0.0.1.example:80", "http://[::2]:80",
                              "http://localhost.example", "http://[::1", ""})
        EXPECT_FALSE(isOwnServer(other)) << other;
}

TEST(Input, mayComeFromAServerWithASlashAtTheEndOfItsAddress) {
    const TemporaryDirectory files;
    house::LocalServer server(0);
    server.serve(house::LocalServer::supportedPath, R"({"data":[]})");
    server.serve(house::LocalServer::attachedPath, R"({"data":[]})");
    server.serve(house::LocalServer::rtuConfigPath, R"({"data":{}})");

    run({"map", "--server", server.url("/")});

    EXPECT_EQ(server.requestCount(house::LocalServer::supportedPath), 1U);
}

TEST(SchemaCommand, givesTheSameWithTheOptionOfAllCommands) {
    const ProgramResult result = run({"schema", "config", "--json"});

    EXPECT_EQ(result.standardOutput, run({"schema", "config"}).standardOutput);
    EXPECT_EQ(result.status, 0);
}

TEST(Output, thatFindsNoRoomIsAFailure) {
    const TemporaryDirectory files;
    const std::string script = files.write("full", R"(exec "$0" schema message >/dev/full)");
    house::ChildProcess program({"/bin/sh", "-c", contentOf(script), INSPECTOR_EXECUTABLE},
                                files.path() / "errors");

    const std::optional<int> status = program.waitForExit();

    EXPECT_EQ(status, 2 << 8);
    EXPECT_EQ(contentOf(files.path() / "errors"),
              "modbus-inspector: standard output: No space left on device\n");
}

TEST(Input, wordsThatAreNestedTooDeepAreRefused) {
    const TemporaryDirectory files;
    const std::string words =
        files.write("words", R"({"holding":{"0":)" + std::string(1000000, '['));

    const ProgramResult result = run({"solve", "5 W", "--words", words});

    EXPECT_EQ(result.standardError,
              "modbus-inspector: " + words + ":1:79: It is nested too deep.\n");
    EXPECT_EQ(result.status, 2);
}

TEST(Input, wordsInAHugeFileAreRefused) {
    const TemporaryDirectory files;
    const std::string words =
        files.write("words", R"({"holding":{"0":[1]}})" + std::string(5000000, ' '));

    const ProgramResult result = run({"solve", "5 W", "--words", words});

    EXPECT_EQ(result.standardError, "modbus-inspector: " + words + ": larger than 4 MB\n");
    EXPECT_EQ(result.status, 2);
}

TEST(Input, aDisplayThatIsNeverOfTheFieldIsRefused) {
    const TemporaryDirectory files;
    const std::string words = files.write("words", R"({"holding":{"0":[1,2]}})");

    const ProgramResult result =
        run({"solve", "5 kWh", "--words", words, "--field", "powerImport"});

    EXPECT_EQ(result.standardError, "modbus-inspector: A powerImport is never \"5 kWh\"\n");
    EXPECT_EQ(result.status, 2);
}
