#include "inspector-program.h"
#include "support/temporary-directory.h"
#include "support/transcript.h"

#include <gtest/gtest.h>

// The mistakes that `map` knows of a home over TCP, and those that exclude one of the home with all
// others. What it says stands in the folder transcripts, whole.

using namespace inspector;

namespace {

constexpr const char* twoWays = R"({"data":[
{"id":"em","registers":[
  {"address":0,"fieldType":"serial","modbusDataType":"ascii","length":4},
  {"address":10,"fieldType":"powerExport","modbusDataType":"uint32","length":1},
  {"address":12,"fieldType":"powerImport","modbusDataType":"int32","length":1},
  {"address":20,"fieldType":"serial","modbusDataType":"uint32","length":1}]}]})";

constexpr const char* meters = R"({"data":[
{"configId":"em","slaveAddress":0},
{"configId":"em","slaveAddress":255},
{"configId":"em","slaveAddress":300}]})";

/// What `map` says of it, with all four documents.
std::string mapOf(const std::string& attached, const std::string& serial,
                  const std::string& config) {
    const TemporaryDirectory files;
    const ProgramResult result =
        run({"map", "--supported", files.write("supported", twoWays), "--attached",
             files.write("attached", attached), "--serial", files.write("serial", serial),
             "--config", files.write("config", R"({"modbusMiscConfig":{)" + config + "}}")});
    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(result.status, 1);
    // The tables stand in other tests.
    return result.standardOutput.substr(result.standardOutput.find("\n\n") + 2);
}

class MistakesOverTcp : public testing::Test {};

} // namespace

TEST_F(MistakesOverTcp, areToldInWords) {
    const std::string unset =
        mapOf(meters, R"({"data":{}})", R"("modbusTCPServer":"gateway","timeoutResponseSec":-1)");
    const std::string without =
        mapOf(R"({"meters":[]})", R"({"data":{"baudRate":"9600","dataBits":"bits7"}})",
              R"("modbusTCPServer":"10.0.0.5","port":66038,"readIntervalUSec":5)");

    expectTranscriptOfFile(unset + "\nAnd without a list of meters:\n\n" + without);
}
