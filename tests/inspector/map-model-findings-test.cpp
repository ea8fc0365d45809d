#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds in the registers of a model beside one another, one mistake at a time. Each
// finding stands as its severity, its name, document, line and column, the path; what the daemon
// does; and the remedy.

using inspector::findings;
using namespace map_documents;

TEST(ModelFindings, theSameFieldTwiceTellsWhichOneWins) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {energyRegister,
                   R"({"address":20,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(warning same-field-twice supported:4:27 /data/0/registers/2/fieldType
  Two registers are "energyImport", and the daemon lets this one win over that at address 10.
  Delete one of them: the daemon adds nothing up.
)");
}

TEST(ModelFindings, powerImportTwiceTellsWhatBecomesOfTheSign) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})",
                   R"({"address":20,"fieldType":"powerImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(warning same-field-twice supported:4:27 /data/0/registers/2/fieldType
  Two registers are "powerImport", and the daemon lets this one win over that at address 10; but if their signs differ, the message holds both as consumption and production.
  Delete one of them: the daemon adds nothing up.
)");
}

TEST(ModelFindings, aSecondSerialTellsThatTheFirstCounts) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":30,"fieldType":"serial","modbusDataType":"ascii","length":4})"})}}),
        R"(warning same-field-twice supported:3:27 /data/0/registers/1/fieldType
  The daemon takes the serial of the first register that gives one, at address 1, and reads this one only if that fails.
  Delete one of them.
)");
}

TEST(ModelFindings, powerExportBehindPowerImportTellsWhatBecomesOfTheSign) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"powerImport","modbusDataType":"int32","length":1,"scaleValue":0.01})",
                   R"({"address":20,"fieldType":"powerExport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(hint import-and-export supported:4:27 /data/0/registers/2/fieldType
  The daemon reads this register behind that of "powerImport" and puts its value in the place of what a negative import left as production; if the import can't be read, it takes both powers of the poll before.
  Delete this one if the import has a sign; keep both if it is never negative.
)");
}

TEST(ModelFindings, powerExportBehindAPowerImportThatIsNeverNegativeIsSound) {
    for (const std::string type : {"uint16", "uint32", "uint64"})
        EXPECT_EQ(
            findings(
                {{"supported",
                  withRegisters(
                      {R"({"address":10,"fieldType":"powerImport","modbusDataType":")" + type +
                           R"(","length":1,"scaleValue":0.01})",
                       R"({"address":20,"fieldType":"powerExport","modbusDataType":"int32","length":1})"})}}),
            "");
}

TEST(ModelFindings, powerImportBehindPowerExportTellsWhatBecomesOfTheSign) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"powerExport","modbusDataType":"uint32","length":1,"scaleValue":0.01})",
                   R"({"address":20,"fieldType":"powerImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(warning import-and-export supported:4:27 /data/0/registers/2/fieldType
  The daemon reads this register behind that of "powerExport" and drops the export whenever the import isn't above zero: its negation takes the place.
  Put "powerExport" behind it, or delete one of them.
)");
}

TEST(ModelFindings, powerExportAloneIsAHint) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"powerExport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(hint export-alone supported:3:27 /data/0/registers/1/fieldType
  The daemon sends this power as production with its sign as it is, and after a failed read as none, as it carries nothing over.
  If the meter has one signed power, make it "powerImport".
)");
}

TEST(ModelFindings, aMapWithoutASerialRegisterIsTold) {
    EXPECT_EQ(findings({{"supported", withoutSerial({energyRegister})}}),
              R"(error no-serial-register supported:1:32 /data/0/registers
  The daemon never sends anything of this model's meters, whatever serial the list of attached meters gives them.
  Add a register of type "serial"; with a serial in the list it isn't read.
)");
}

TEST(ModelFindings, aSerialRegisterThatGivesNoneIsToldIfTheListHasNone) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withoutSerial(
                  {R"({"address":10,"fieldType":"serial","modbusDataType":"uint16","length":1})"})},
             {"attached", oneMeter}}),
        R"(error number-for-text supported:2:53 /data/0/registers/0/modbusDataType
  The daemon takes "serial" from "ascii" or "uint32" alone and drops this "uint16".
  Take "ascii" for a text, or "uint32" for a number.
error no-serial attached:1:10 /data/0/serial
  The daemon gets no serial for this meter from its register, so it never sends its readings.
  Write its serial here, or correct the type of the serial register.
)");
}

TEST(ModelFindings, aSerialRegisterThatIsNeverReadIsToldIfTheListHasOne) {
    EXPECT_EQ(
        findings({{"supported", withRegisters({energyRegister})},
                  {"attached", R"({"data":[{"configId":"m","slaveAddress":7,"serial":"x"}]})"}}),
        R"(hint serial-never-read supported:2:1 /data/0/registers/0
  The daemon takes the serial of the list of attached meters and never reads this register.
  Keep the register, without which nothing is sent, and delete the serial in the list if the meter's own is to count.
)");
}

TEST(ModelFindings, eachSerialRegisterThatIsNeverReadIsToldAsJustThat) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":9,"fieldType":"serial","modbusDataType":"ascii","length":4})",
                   R"({"address":"0x10","fieldType":"serial","modbusDataType":"string","length":4})"})},
             {"attached", R"({"data":[{"configId":"m","slaveAddress":7,"serial":"x"}]})"}}),
        R"(hint serial-never-read supported:2:1 /data/0/registers/0
  The daemon takes the serial of the list of attached meters and never reads this register.
  Keep the register, without which nothing is sent, and delete the serial in the list if the meter's own is to count.
hint serial-never-read supported:3:1 /data/0/registers/1
  The daemon takes the serial of the list of attached meters and never reads this register.
  Keep the register, without which nothing is sent, and delete the serial in the list if the meter's own is to count.
hint serial-never-read supported:4:1 /data/0/registers/2
  The daemon takes the serial of the list of attached meters and never reads this register.
  Keep the register, without which nothing is sent, and delete the serial in the list if the meter's own is to count.
)");
}

TEST(ModelFindings, aModelIdTwiceIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"({"data":[{"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4}]},{"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4}]}]})"}}),
        R"(warning model-twice supported:1:112 /data/1/id
  The model "m" stands also at /data/0, and the daemon reads each of its meters once with each, and sends each reading that has a serial.
  Delete one of them, or give it another id.
)");
}
