#include "inspector-program.h"
#include "support/temporary-directory.h"
#include "support/transcript.h"

#include <gtest/gtest.h>

// An installation with each mistake that `map` knows of a serial line, as one hopes never to meet
// it; those of TCP have a test of their own. What it says stands in the files of the folder
// transcripts, whole.

using namespace inspector;

namespace {

constexpr const char* wrongSupported = R"({"data":[
{"id":"em","displayName":"Meter","colour":"red","registers":[
  {"address":0,"fieldType":"serial","modbusDataType":"ascii","length":4},
  {"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scale":0.01},
  {"address":20,"fieldType":"energyImports","modbusDataType":"uint32","length":1},
  {"address":21,"fieldType":"energyExport","modbusDataType":"float","length":1},
  {"address":22,"fieldType":"energyExport","modbusDataType":"uint32","length":1,"registerType":"Input"},
  {"address":23,"address":24,"fieldType":"energyImportTariff1","modbusDataType":"uint32","length":1},
  {"address":"0x19","fieldType":"energyImportTariff2","modbusDataType":"uint32","length":1},
  {"address":26,"fieldType":"energyImportTariff3","modbusDataType":"uint32","length":1.9},
  {"address":27,"modbusDataType":"uint32","length":1},
  {"address":30,"fieldType":"powerImport","modbusDataType":"int16","length":1},
  {"address":31,"fieldType":"powerImport","modbusDataType":"bitmap","length":1},
  {"address":32,"fieldType":"powerImport","modbusDataType":"dateTime","length":1},
  {"address":34,"fieldType":"powerImport","modbusDataType":"none","length":1},
  {"address":40,"fieldType":"tariffEnabled","modbusDataType":"uint32","length":1},
  {"address":42,"fieldType":"energyImportTariff4","modbusDataType":"ascii","length":1},
  {"address":50,"fieldType":"energyImportTariff5","modbusDataType":"uint32","length":0},
  {"address":60,"fieldType":"energyImportTariff6","modbusDataType":"uint32","length":63},
  {"address":65535,"fieldType":"energyExportTariff1","modbusDataType":"uint32","length":1},
  {"address":70,"fieldType":"powerImport","modbusDataType":"int32","length":1},
  {"address":72,"fieldType":"powerImport","modbusDataType":"int32","length":1},
  {"address":74,"fieldType":"powerExport","modbusDataType":"uint32","length":1},
  {"address":80,"fieldType":"energyExportTariff2","modbusDataType":"uint32","length":1,"scaleValue":0},
  {"address":82,"fieldType":"energyExportTariff3","modbusDataType":"uint32","length":1,"scaleValue":-1},
  {"address":84,"fieldType":"energyExportTariff4","modbusDataType":"uint32","length":1,"scaleValue":1e39},
  {"address":86,"fieldType":"energyExportTariff5","modbusDataType":"uint32","length":1,"scaleValue":3600000},
  {"address":88,"fieldType":"energyExportTariff6","modbusDataType":"uint16","length":1,"scaleValue":0.00001},
  {"address":40101,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":"0,001"}]},
{"id":"export","registers":[
  {"address":10,"fieldType":"powerExport","modbusDataType":"uint32","length":1}]},
{"id":"number","registers":[
  {"address":0,"fieldType":"serial","modbusDataType":"uint16","length":1}]},
{"id":"listed","registers":[
  {"address":0,"fieldType":"serial","modbusDataType":"ascii","length":4}]},
{"id":"six","registers":[
  {"address":400108,"fieldType":"energyImport","modbusDataType":"uint32","length":1},
  {"address":10,"fieldType":"energyExport","modbusDataType":"uint32","length":300}]},
{"id":"em","registers":[
  {"address":30001,"fieldType":"serial","modbusDataType":"ascii","length":4}]}
]} and more
)";

constexpr const char* wrongAttached = R"({"data":[
{"configId":"em","slaveAddress":7,"application":"sun"},
{"configId":"none","slaveAddress":8},
{"configId":"em","slaveAddress":7},
{"configId":"number","slaveAddress":9},
{"configId":"listed","slaveAddress":10,"serial":"L-10"},
{"configId":"em","slaveAddress":0},
{"configId":"em","slaveAddress":263},
{"configId":"em","slaveAddress":"one"}],
"date":[]})";

constexpr const char* wrongSerial =
    R"({"data":{"serialDevice":"/dev/ttyS0","baudRate":"9600","dataBits":"bits7","stopBits":"bits1"}})";

// What else is wrong in a text that is no JSON by the letter has no line and column.
constexpr const char* wrongConfig =
    R"({'modbusMiscConfig':{"readIntervalUSec":5,"timeoutResponseSec":-1}})";

/// What `map` says of all that.
std::string mapOfMistakes(std::vector<std::string> arguments) {
    const TemporaryDirectory files;
    arguments.insert(arguments.begin(),
                     {"map", "--supported", files.write("supported", wrongSupported), "--attached",
                      files.write("attached", wrongAttached), "--serial",
                      files.write("serial", wrongSerial), "--config",
                      files.write("config", wrongConfig)});
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(result.status, 1);
    return result.standardOutput;
}

/// JSON has no line ends here; these are for the eye.
std::string inLines(const std::string& json) {
    std::string lines;
    for (const char c : json) {
        if (c == '{' && !lines.empty())
            lines += '\n';
        lines += c;
    }
    return lines;
}

class EveryMistake : public testing::Test {};

} // namespace

TEST_F(EveryMistake, isToldInWords) {
    expectTranscriptOfFile(mapOfMistakes({}));
}

TEST_F(EveryMistake, isToldAsJson) {
    expectTranscriptOfFile(inLines(mapOfMistakes({"--json"})));
}
