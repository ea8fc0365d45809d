#include "inspector-program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

using namespace inspector;

namespace {

constexpr const char* supported =
    R"({"data": [{"id": "em-1", "displayName": "Meter", "model": "M1", "manufacturer": "Maker", "registers": [
  {"address": 0, "fieldType": "serial", "modbusDataType": "ascii", "length": 4},
  {"address": 10, "fieldType": "powerImport", "modbusDataType": "int32", "length": 1, "scaleValue": 0.1, "registerType": "input"},
  {"address": 20, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1, "scaleValue": 0.001},
  {"address": 30, "fieldType": "energyExport", "modbusDataType": "float32", "length": 1},
  {"address": 40, "fieldType": "tariffEnabled", "modbusDataType": "uint16", "length": 1},
  {"address": 50, "fieldType": "dateTime", "modbusDataType": "dateTime", "length": 1}]}]})";
constexpr const char* attached = R"({"data":[{"configId":"em-1","slaveAddress":7,"name":"Flat"}]})";
constexpr const char* serial =
    R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})";

std::string mapWith(std::vector<std::string> arguments) {
    const TemporaryDirectory files;
    arguments.insert(arguments.begin(), {"map", "--supported", files.write("supported", supported),
                                         "--attached", files.write("attached", attached),
                                         "--serial", files.write("serial", serial)});
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(result.status, 0);
    return result.standardOutput;
}

/// JSON has no line ends here; these are for the eye.
std::string inOneLine(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text + "\n";
}

} // namespace

TEST(MapOutput, showsEachRegisterInTheOrderOfReading) {
    EXPECT_EQ(mapWith({}), R"(Model "em-1", Meter, Maker, M1
  space    fn  address     hex  words  type      scale  member                                 unit      largest         step  if unread
  holding   3        0  0x0000      4  ascii         1  id                                                                     left out
  input     4       10  0x000A      2  int32       0.1  powerConsumed, negative powerProduced  W     2.14748e+08           16  as before
  holding   3       20  0x0014      2  uint32    0.001  energyConsumed                         Ws    1.54619e+13  1.04858e+06  as before
  holding   3       30  0x001E      2  float32       1  energyProduced                         Ws    3.40282e+38  2.02824e+31  as before
  holding   3       40  0x0028      1  uint16        1  tariffEnabled                                                          left out
  holding   3       50  0x0032      2  dateTime      1  dropped

No findings.
)");
}

TEST(MapOutput, showsWhereThePollsTimeGoes) {
    const std::string text = mapWith({"--budget"});

    EXPECT_EQ(text.substr(text.find("A poll takes")), R"(A poll takes at least 1.266 s
  part
  requests of the local server     0.003 s
  pauses ahead of the reads        0.120 s
  requests and answers on the bus  0.143 s
  the closing second               1.000 s

  meter  model    takes  more if dead  age when delivered
      7  em-1   0.263 s      29.857 s             1.263 s

  longest models  registers    takes
  em-1                    6  0.263 s
)");
}

TEST(MapOutput, saysWhichLineItReckonsForWhereNothingTellsIt) {
    const TemporaryDirectory files;
    const ProgramResult result =
        run({"map", "--budget", "--supported", files.write("supported", supported)});

    EXPECT_EQ(result.standardOutput.substr(result.standardOutput.find("A poll takes")),
              R"(A poll takes at least 1.003 s
  part
  requests of the local server     0.003 s
  pauses ahead of the reads        0.000 s
  requests and answers on the bus  0.000 s
  the closing second               1.000 s
  Reckoned for 9600 baud, even parity and one stop bit, as nothing tells the line's parameters.

  meter  model  takes  more if dead  age when delivered

  longest models  registers    takes
  em-1                    6  0.263 s
)");
}

TEST(MapOutput, countsTheShorterModelsThatItLeavesOut) {
    const auto endFor = [](int models) {
        std::string list;
        for (int i = 0; i < models; ++i)
            list +=
                (i == 0 ? "" : ",") + (R"({"id":"em-)" + std::to_string(i)) +
                R"(","registers":[{"fieldType":"serial","modbusDataType":"ascii","length":4}]})";
        const TemporaryDirectory files;
        const std::string text =
            run({"map", "--budget", "--supported", files.write("supported", "[" + list + "]")})
                .standardOutput;
        return text.substr(text.find("  em-9", text.find("longest models")));
    };
    EXPECT_EQ(endFor(10), "  em-9                    1  0.048 s\n");
    EXPECT_EQ(endFor(12), "  em-9                    1  0.048 s\n  and 2 more\n");
}

TEST(MapOutput, saysThatItReckonsWithAnOpenBusAndATimeOutThatEnds) {
    const TemporaryDirectory files;
    const ProgramResult result =
        run({"map", "--budget", "--supported", files.write("supported", supported), "--attached",
             files.write("attached", R"({"data":[{"configId":"em-1","slaveAddress":0}]})"),
             "--serial", files.write("serial", R"({"data":{"baudRate":"baud9600"}})"), "--config",
             files.write("config", R"({"modbusMiscConfig":{"timeoutResponseSec":-1}})")});

    EXPECT_EQ(result.standardOutput.substr(result.standardOutput.find("A poll takes")),
              R"(A poll takes at least 31.123 s
  part
  requests of the local server      0.003 s
  pauses ahead of the reads         0.120 s
  requests and answers on the bus   0.000 s
  answers that never come          30.000 s
  the closing second                1.000 s
  Reckoned as if the daemon opened the serial line, which by the findings it doesn't.
  Reckoned with a time-out of 5 s instead of the negative one.

  meter  model     takes  more if dead  age when delivered
      0  em-1   30.120 s       0.000 s            31.120 s

  longest models  registers    takes
  em-1                    6  0.250 s
)");
    for (const auto& [config, way] :
         {std::pair(R"({"modbusMiscConfig":)", "serial line"),
          std::pair(R"({"modbusMiscConfig":{"modbusTCPServer":"gateway","port":502}})", "bus")})
        EXPECT_THAT(
            run({"map", "--budget", "--config", files.write("config", config)}).standardOutput,
            testing::HasSubstr("Reckoned as if the daemon opened the " + std::string(way)));
}

TEST(MapOutput, saysThatNoBusIsOpenedWithSerialParametersOfWhichTheDaemonTakesNone) {
    const TemporaryDirectory files;
    for (const char* serialOfNone : {"{}", "null", R"({"data":{"baudRate":5}})"})
        for (const auto& [config, way] :
             {std::pair("{}", "serial line"),
              std::pair(R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})",
                        "bus")})
            EXPECT_THAT(run({"map", "--budget", "--serial", files.write("serial", serialOfNone),
                             "--config", files.write("config", config)})
                            .standardOutput,
                        testing::AllOf(testing::HasSubstr("error "),
                                       testing::HasSubstr("Reckoned as if the daemon opened the " +
                                                          std::string(way))))
                << serialOfNone << config;
}

TEST(MapOutput, showsThatAFailedImportTakesTheExportOfThePollBeforeToo) {
    const TemporaryDirectory files;
    const ProgramResult result =
        run({"map", "--supported", files.write("supported", R"({"id":"m","registers":[
  {"address":0,"fieldType":"serial","modbusDataType":"ascii","length":4},
  {"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1},
  {"address":11,"fieldType":"powerExport","modbusDataType":"uint16","length":1}]})")});

    EXPECT_EQ(result.standardOutput, R"(Model "m"
  space    fn  address     hex  words  type    scale  member                                 unit  largest  step  if unread
  holding   3        0  0x0000      4  ascii       1  id                                                          left out
  holding   3       10  0x000A      1  uint16      1  powerConsumed, negative powerProduced  W       65535     1  as before, export too
  holding   3       11  0x000B      1  uint16      1  powerProduced                          W       65535     1  left out

No findings.
)");
}

TEST(MapOutput, letsNoControlCharacterReachTheTerminal) {
    const TemporaryDirectory files;
    const ProgramResult result =
        run({"map", "--supported",
             files.write("supported",
                         "{\"id\":\"\\u001b[31m\\u0007\xC2\x9B\xFFü\",\"registers\":[]}")});

    EXPECT_EQ(result.standardOutput, R"(Model "\u001b[31m\u0007\u009b\xffü"
  space  fn  address  hex  words  type  scale  member  unit  largest  step  if unread

error no-serial-register supported:1:41 /registers
    The daemon never sends anything of this model's meters, whatever serial the list of attached meters gives them.
    Add a register of type "serial"; with a serial in the list it isn't read.
)");
}

TEST(MapOutput, isJsonWhateverBytesATextHas) {
    const TemporaryDirectory files;
    const ProgramResult result =
        run({"map", "--json", "--supported",
             files.write("supported",
                         "{\"id\":\"\\u001bü\xE2\x82\xFF\xED\xA0\x80\xC0\xAF\",\"k\xFFy\":1}")});

    EXPECT_EQ(result.standardOutput.substr(0, result.standardOutput.find("\"budget\"")) + "\n",
              inOneLine(
                  R"json({"models":[{"id":"\u001Bü��������","registers":[]}],"findings":[
{"name":"no-serial-register","severity":"error","document":"supported","path":"/registers","message":"The daemon never sends anything of this model's meters, whatever serial the list of attached meters gives them.","remedy":"Add a register of type \"serial\"; with a serial in the list it isn't read.","line":1,"column":1},
{"name":"unknown-key","severity":"warning","document":"supported","path":"/k�y","message":"The daemon knows no key \"k�y\" here and ignores it.","remedy":"Delete it; those known are \"id\", \"displayName\", \"model\", \"manufacturer\", \"registers\".","line":1,"column":21}],)json"));
}

TEST(MapOutput, saysAllOfItAsJson) {
    EXPECT_EQ(mapWith({"--json"}), inOneLine(R"json({"models":[{"id":"em-1","registers":[
{"address":0,"space":"holding","function":3,"words":4,"dataType":"ascii","scale":1.0,"fieldType":"serial","member":"id","memberOfNegative":null,"unit":null,"carried":false},
{"address":10,"space":"input","function":4,"words":2,"dataType":"int32","scale":0.1,"fieldType":"powerImport","member":"powerConsumed","memberOfNegative":"powerProduced","unit":"W","carried":true,"largest":214748368.0,"step":16.0},
{"address":20,"space":"holding","function":3,"words":2,"dataType":"uint32","scale":0.001,"fieldType":"energyImport","member":"energyConsumed","memberOfNegative":null,"unit":"Ws","carried":true,"largest":15461883314176.0,"step":1048576.0},
{"address":30,"space":"holding","function":3,"words":2,"dataType":"float32","scale":1.0,"fieldType":"energyExport","member":"energyProduced","memberOfNegative":null,"unit":"Ws","carried":true,"largest":3.4028234663852887e38,"step":2.028240960365167e31},
{"address":40,"space":"holding","function":3,"words":1,"dataType":"uint16","scale":1.0,"fieldType":"tariffEnabled","member":"tariffEnabled","memberOfNegative":null,"unit":null,"carried":false},
{"address":50,"space":"holding","function":3,"words":2,"dataType":"dateTime","scale":1.0,"fieldType":"dateTime","member":null,"memberOfNegative":null,"unit":null,"carried":false}]}],
"findings":[],
"budget":{"seconds":1.2662291666666668,"requests":0.003,"pauses":0.12000000000000001,"wire":0.14322916666666667,"waits":0.0,"closing":1.0,"lineAssumed":false,"busAssumed":false,"timeOutAssumed":false,
"meters":[{"slaveAddress":7,"configId":"em-1","seconds":0.2632291666666667,"deadSeconds":29.856770833333333,"ageSeconds":1.2632291666666667}],
"models":[{"id":"em-1","registers":6,"seconds":0.2632291666666667}]}})json"));
}
