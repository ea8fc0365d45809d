#include "inspector-program.h"

#include <gtest/gtest.h>

using namespace inspector;

namespace {

/// `solve` with words from standard input.
ProgramResult solve(const std::string& display, const std::string& words,
                    std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"solve", display, "--words", "-"});
    return run(arguments, words);
}

struct WrongSolve {
    const char* name;
    std::vector<std::string> arguments;
    std::string complaint;
};

class SolveArguments : public testing::TestWithParam<WrongSolve> {};

struct WrongWords {
    const char* name;
    std::string words;
    std::string complaint;
};

class WordsOfSolve : public testing::TestWithParam<WrongWords> {};

struct Shown {
    const char* name;
    std::string display;
    std::string words;
    std::string answer;
};

class SolveShown : public testing::TestWithParam<Shown> {};

const auto nameOfTest = [](const auto& test) { return std::string(test.param.name); };

} // namespace

TEST_P(SolveArguments, areRefusedWithWhatIsWrong) {
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), {"solve", "1 W"});

    const ProgramResult result = run(arguments);

    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "modbus-inspector: " + GetParam().complaint +
                                        "\nRun modbus-inspector --help for more information.\n");
    EXPECT_EQ(result.status, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Wrong, SolveArguments,
    testing::Values(
        WrongSolve{"from", {"--words", "w", "--from", "0"}, "--from needs --tcp or --rtu"},
        WrongSolve{"to", {"--words", "w", "--to", "9"}, "--to needs --tcp or --rtu"},
        WrongSolve{"slave", {"--words", "w", "--slave", "3"}, "--slave needs --tcp or --rtu"},
        WrongSolve{
            "timeOut", {"--words", "w", "--time-out", "9"}, "--time-out needs --tcp or --rtu"},
        WrongSolve{"share", {"--words", "w", "--share"}, "--share needs --tcp or --rtu"},
        WrongSolve{"stopService",
                   {"--words", "w", "--stop-service"},
                   "--stop-service needs --tcp or --rtu"},
        WrongSolve{"backwards",
                   {"--tcp", "127.0.0.1:1", "--from", "9", "--to", "8"},
                   "--from is behind --to"},
        WrongSolve{"standardInputTwice",
                   {"--words", "-", "--again", "2 W", "--words-again", "-"},
                   "Only the words of one reading can come from standard input"}),
    nameOfTest);

TEST_P(WordsOfSolve, areRefusedWithTheirPlace) {
    const ProgramResult result = solve("1 W", GetParam().words);

    EXPECT_EQ(result.standardError, "modbus-inspector: -:" + GetParam().complaint + "\n");
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.status, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Wrong, WordsOfSolve,
    testing::Values(
        WrongWords{"list", "[1]", R"(1:1: no object with "holding" or "input")"},
        WrongWords{"empty", "{}", R"(1:1: no object with "holding" or "input")"},
        WrongWords{"otherSpace", R"({"holding":{},"coil":{}})",
                   R"(1:15: neither "holding" nor "input")"},
        WrongWords{"spaceAsList", R"({"input":[1]})", "1:10: no object with words by address"},
        WrongWords{"addressInHexadecimal", R"({"input":{"0x10":[1]}})", "1:11: no address"},
        WrongWords{"addressBeyondTheSpace", R"({"input":{"65536":[1]}})", "1:11: no address"},
        WrongWords{"wordsAsNumber", R"({"input":{"0":1}})", "1:15: no list of words"},
        WrongWords{"wordsBeyondTheSpace", R"({"input":{"65535":[1,2]}})",
                   "1:19: words behind address 65535"},
        WrongWords{"wordTooLarge", "{\"input\":\n{\"0\":[65536]}}", "2:7: no word, 0 to 65535"},
        WrongWords{"wordBelowZero", R"({"input":{"0":[-1]}})", "1:16: no word, 0 to 65535"},
        WrongWords{"wordAsFraction", R"({"input":{"0":[1.5]}})", "1:16: no word, 0 to 65535"},
        WrongWords{"textBehind", "{\"holding\":{\"0\":[1]}}\n{\"input\":{}}",
                   "2:1: text behind the words"},
        WrongWords{"wordAsText", R"({"input":{"0":["1"]}})", "1:16: no word, 0 to 65535"}),
    nameOfTest);

TEST_P(SolveShown, isAnsweredWithAnEntry) {
    const ProgramResult result = solve(GetParam().display, GetParam().words);

    EXPECT_EQ(result.standardOutput, GetParam().answer);
    EXPECT_EQ(result.standardError, "");
}

INSTANTIATE_TEST_SUITE_P(
    Display, SolveShown,
    testing::Values(
        Shown{
            "wattHours", "1651910 Wh", R"({"input":{"7":[25,13510]}})",
            R"({"address": 7, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1, "scaleValue": 0.001, "registerType": "input"}
    uint32 1651910 x 0.001 is 1651910 Wh; of 440693308 other words one would be
    reads the same so far: int32 at address 7
)"},
        Shown{
            "kilowattHours", "1651.91 kWh", R"({"input":{"7":[25,13510]}})",
            R"({"address": 7, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1, "scaleValue": 0.001, "registerType": "input"}
    uint32 1651910 x 0.001 is 1651.91 kWh; of 132355885 other words one would be
    reads the same so far: int32 at address 7
)"},
        Shown{
            "megawattHoursCutOffWithAComma", "1,651 MWh", R"({"input":{"7":[25,13510]}})",
            R"({"address": 7, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1, "scaleValue": 0.001, "registerType": "input"}
    uint32 1651910 x 0.001 is 1.65191 MWh; of 1697676 other words one would be
    reads the same so far: int32 at address 7
)"},
        Shown{
            "kilowattsWithAComma", "11,04 kW", R"({"holding":{"3":[11042]}})",
            R"({"address": 3, "fieldType": "powerImport", "modbusDataType": "uint16", "length": 1, "scaleValue": 1, "registerType": "holding"}
    uint16 11042 x 1 is 11.042 kW; of 4361 other words one would be
)"},
        Shown{
            "delivery", "-1250 W", R"({"input":{"7":[65535,64286]}})",
            R"({"address": 7, "fieldType": "powerImport", "modbusDataType": "int32", "length": 1, "scaleValue": 1, "registerType": "input"}
    int32 -1250 x 1 is -1250 W, which the daemon reports as powerProduced 1250 W; of 2857120151 other words one would be
)"},
        Shown{
            "theOtherSign", "1250 W", R"({"input":{"7":[65535,64286]}})",
            R"({"address": 7, "fieldType": "powerImport", "modbusDataType": "int32", "length": 1, "scaleValue": -1, "registerType": "input"}
    int32 -1250 x -1 is 1250 W; the words have the other sign than the display, and the negative scale turns it: what is above zero there is reported as powerProduced; if the display only leaves out a sign, the scale 1 is right, which reports powerProduced 1250 W; of 178570009 other words one would be
)"},
        Shown{
            "zero", "0 kWh", R"({"input":{"7":[0]}})",
            R"({"address": 7, "fieldType": "energyImport", "modbusDataType": "uint16", "length": 1, "scaleValue": 1, "registerType": "input"}
    uint16 0 x 1 is 0 kWh; a zero tells neither scale nor place
)"},
        Shown{
            "serial", "12345678", R"({"input":{"7":[188,24910]}})",
            R"({"address": 7, "fieldType": "serial", "modbusDataType": "uint32", "length": 1, "scaleValue": 1, "registerType": "input"}
    uint32 reads "12345678"
)"},
        Shown{
            "serialWithABlankBehind", "ABC1234",
            R"({"input":{"7":[16706,17201,12851,13344,8224]}})",
            R"({"address": 7, "fieldType": "serial", "modbusDataType": "ascii", "length": 4, "scaleValue": 1, "registerType": "input"}
    ascii reads "ABC1234 ", and the daemon reports the blank too
)"},
        Shown{"unreadableSerialWithABlankBehind", "ABC", R"({"input":{"7":[16961,8259]}})",
              R"(No register of these shows ABC.
unreadable input 7: ascii reads "ABC" in swapped bytes, which the daemon can't read, so no map helps; hardly a coincidence.
)"},
        Shown{"unreadableSerial", "AB12", R"({"input":{"7":[16961,12849]}})",
              R"(No register of these shows AB12.
unreadable input 7: ascii reads "AB12" in swapped bytes, which the daemon can't read, so no map helps; hardly a coincidence.
)"},
        Shown{"unreadableSignOfSixteenBits", "1250 W", R"({"holding":{"0":[64286]}})",
              R"(No register of these shows 1250 W.
unreadable holding 0: int16 -1250 x -1 is 1250 W in signed 16 bits, which the daemon can't read, so no map helps; hardly a coincidence.
)"}),
    nameOfTest);

TEST(Solve, takesAnyTextForASerialThatIsSaidToBeOne) {
    for (const auto& [display, words] :
         {std::pair("1 EMH00 ", "12576,17741,18480,12288"), std::pair("12 kWh", "12594,8299,22376"),
          std::pair("1.5", "12590,13568")}) {
        const ProgramResult result =
            solve(display, R"({"input":{"7":[)" + std::string(words) + "]}}",
                  {"--field", "serial", "--json"});

        EXPECT_EQ(result.standardError, "");
        EXPECT_EQ(result.status, 0) << result.standardOutput;
    }
}

TEST(Solve, tellsAllOfItAsJson) {
    const ProgramResult result =
        solve("-1250 W", R"({"holding":{"0":[65535,64286]},"input":{"10":[57860,0]}})", {"--json"});

    EXPECT_EQ(
        result.standardOutput,
        R"({"candidates":[{"register":{"address":0,"fieldType":"powerImport","modbusDataType":"int32","length":1,"scaleValue":1.0,"registerType":"holding"},"value":1250.0,"member":"powerProduced","reason":"int32 -1250 x 1 is -1250 W, which the daemon reports as powerProduced 1250 W; of 2857120151 other words one would be"}],"candidatesLeftOut":0,"unreadable":[{"address":10,"space":"input","order":"little-endian words with swapped bytes","modbusDataType":"int32","scale":-1.0,"value":-1250.0,"reason":"int32 1250 x -1 is -1250 W in little-endian words with swapped bytes, which the daemon can't read, so no map helps; hardly a coincidence"}],"unreadableLeftOut":0})"
        "\n");
    EXPECT_EQ(result.status, 0);
}

TEST(Solve, saysAsJsonWhatReadsTheSame) {
    const ProgramResult result =
        solve("70000 W", R"({"holding":{"4":[1,4464]}})", {"--json", "--field", "powerExport"});

    EXPECT_EQ(
        result.standardOutput,
        R"({"candidates":[{"register":{"address":4,"fieldType":"powerExport","modbusDataType":"uint32","length":1,"scaleValue":1.0,"registerType":"holding"},"value":70000.0,"member":"powerProduced","reason":"uint32 70000 x 1 is 70000 W; of 2553487526 other words one would be","alike":[{"address":4,"fieldType":"powerExport","modbusDataType":"int32","length":1,"scaleValue":1.0,"registerType":"holding"}]},{"register":{"address":4,"fieldType":"powerExport","modbusDataType":"int32","length":1,"scaleValue":1.0,"registerType":"holding"},"value":70000.0,"member":"powerProduced","reason":"int32 70000 x 1 is 70000 W; of 2553487526 other words one would be","alike":[{"address":4,"fieldType":"powerExport","modbusDataType":"uint32","length":1,"scaleValue":1.0,"registerType":"holding"}]}],"candidatesLeftOut":0,"unreadable":[],"unreadableLeftOut":0})"
        "\n");
}

TEST(Solve, countsWhatIsLeftOut) {
    std::string zeros = "0";
    for (int i = 1; i < 1000; ++i)
        zeros += ",0";
    const std::string words = R"({"holding":{"0":[)" + zeros + "]}}";

    const std::string text = solve("0 kWh", words).standardOutput;
    const std::string json = solve("0 kWh", words, {"--json"}).standardOutput;

    EXPECT_TRUE(text.ends_with("less plausible ones; a second reading (--again) tells more.\n"))
        << text;
    EXPECT_NE(json.find(R"("candidatesLeftOut":5891,)"), std::string::npos) << json;
}

TEST(Solve, saysThatNothingShowsIt) {
    const ProgramResult text = solve("1250 W", R"({"holding":{"0":[1,2]}})");
    const ProgramResult json = solve("1250 W", R"({"holding":{"0":[1,2]}})", {"--json"});

    EXPECT_EQ(text.standardOutput, "No register of these shows 1250 W.\n");
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(json.standardOutput,
              R"({"candidates":[],"candidatesLeftOut":0,"unreadable":[],"unreadableLeftOut":0})"
              "\n");
    EXPECT_EQ(json.status, 1);
}

TEST(Solve, theTwoDisplaysAreOfOneKind) {
    const TemporaryDirectory files;
    const std::string words = files.write("words", R"({"holding":{"0":[1]}})");

    const ProgramResult result =
        run({"solve", "1 W", "--words", words, "--again", "1 kWh", "--words-again", words});

    EXPECT_EQ(result.standardError,
              "modbus-inspector: \"1 kWh\" is another kind of value than \"1 W\"\n");
    EXPECT_EQ(result.status, 2);
}
