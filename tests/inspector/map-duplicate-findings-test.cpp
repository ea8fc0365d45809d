#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds where a key stands twice with a value that is wrong. Each finding stands as its
// severity, its name, document, line and column, the path; what the daemon does; and the remedy.

using inspector::findings;
using namespace map_documents;

TEST(DuplicateFindings, ofADuplicateKeyOnlyTheValueThatCountsIsJudged) {
    const auto ofRegister = [](const std::string& members) {
        return findings(
            {{"supported", withRegisters({R"({"address":10,"length":1,)" + members + "}"})}});
    };
    EXPECT_EQ(
        ofRegister(
            R"("modbusDataType":"uint16","fieldType":"powerImprot","fieldType":"powerImport")"),
        R"(warning duplicate-key supported:3:78 /data/0/registers/1/fieldType
  The key "fieldType" stands here more than once, and the daemon takes the last.
  Keep one of them.
)");
    EXPECT_EQ(
        ofRegister(
            R"("fieldType":"powerImport","modbusDataType":"uint61","modbusDataType":"int16")"),
        R"(warning duplicate-key supported:3:78 /data/0/registers/1/modbusDataType
  The key "modbusDataType" stands here more than once, and the daemon takes the last.
  Keep one of them.
error no-decoder supported:3:95 /data/0/registers/1/modbusDataType
  The daemon reads a register of type "int16" and drops it, as it can't decode it.
  Take "uint16" if the value is never negative, or another register.
)");
    EXPECT_EQ(
        ofRegister(
            R"("fieldType":"powerImport","modbusDataType":"uint16","scaleValue":"0,1","scaleValue":"0,1","scaleValue":0)"),
        R"(warning duplicate-key supported:3:97 /data/0/registers/1/scaleValue
  The key "scaleValue" stands here more than once, and the daemon takes the last.
  Keep one of them.
warning duplicate-key supported:3:116 /data/0/registers/1/scaleValue
  The key "scaleValue" stands here more than once, and the daemon takes the last.
  Keep one of them.
error scale-zero supported:3:129 /data/0/registers/1/scaleValue
  Every value becomes zero, and the daemon leaves a zero out of the message.
  Give it the meter's factor, or 1.
)");
}

TEST(DuplicateFindings, ofKeysThatTakeTurnsEachHasTheLastValue) {
    EXPECT_EQ(
        findings(
            {{"serial",
              R"({"data":{"baudRate":"9600","parity":"evn","baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})"}}),
        R"(warning duplicate-key serial:1:43 /data/baudRate
  The key "baudRate" stands here more than once, and the daemon takes the last.
  Keep one of them.
warning duplicate-key serial:1:65 /data/parity
  The key "parity" stands here more than once, and the daemon takes the last.
  Keep one of them.
)");
}

TEST(DuplicateFindings, nothingOfAListThatALaterOneReplacesIsJudged) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"slaveAdress":7,"slaveAddress":"x","slaveAddress":"y"}],"data":[{"configId":"m","slaveAddress":7}]})"}}),
        R"(warning duplicate-key attached:1:67 /data
  The key "data" stands here more than once, and the daemon takes the last.
  Keep one of them.
)");
}

TEST(DuplicateFindings, asManyAsATextCanHoldAreToldInTime) {
    const TemporaryDirectory files;
    std::string text = R"({"date":1)";
    for (int i = 0; i < 30000; ++i)
        text += R"(,"data":[])";

    const inspector::ProgramResult result =
        inspector::run({"map", "--json", "--supported", files.write("supported", text + "}")});

    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.standardOutput.find(R"("line":1,"column":300001}],"budget")"),
              std::string::npos);
}
