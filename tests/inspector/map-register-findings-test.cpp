#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds in a register by itself, one mistake at a time. Each finding stands as its
// severity, its name, document, line and column, the path; what the daemon does; and the remedy.

using inspector::findings;
using namespace map_documents;

TEST(RegisterFindings, aDataTypeWithoutADecoderIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"powerImport","modbusDataType":"int16","length":1,"scaleValue":1})",
                   R"({"address":11,"fieldType":"powerImport","modbusDataType":"bitmap","length":1,"scaleValue":1})",
                   R"({"address":12,"fieldType":"powerImport","modbusDataType":"dateTime","length":1,"scaleValue":1})",
                   R"({"address":13,"fieldType":"powerImport","modbusDataType":"none","length":1,"scaleValue":1})"})}}),
        R"(error no-decoder supported:3:58 /data/0/registers/1/modbusDataType
  The daemon reads a register of type "int16" and drops it, as it can't decode it.
  Take "uint16" if the value is never negative, or another register.
error no-decoder supported:4:58 /data/0/registers/2/modbusDataType
  The daemon reads a register of type "bitmap" and drops it, as it can't decode it.
  Take the type of the value that the meter's description names.
error no-decoder supported:5:58 /data/0/registers/3/modbusDataType
  The daemon reads a register of type "dateTime" and drops it, as it can't decode it.
  Take the type of the value that the meter's description names.
error no-decoder supported:6:58 /data/0/registers/4/modbusDataType
  The daemon reads a register of type "none" and drops it, as it can't decode it.
  Take the type of the value that the meter's description names.
)");
}

TEST(RegisterFindings, tariffEnabledNotAsUint16IsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"tariffEnabled","modbusDataType":"uint32","length":1})"})}}),
        R"(error tariff-not-uint16 supported:3:60 /data/0/registers/1/modbusDataType
  The daemon takes "tariffEnabled" from a "uint16" alone and drops this "uint32".
  Take "uint16".
)");
}

TEST(RegisterFindings, tariffEnabledAsATextIsToldLikeAnyOtherType) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"tariffEnabled","modbusDataType":"ascii","length":1})"})}}),
        R"(error tariff-not-uint16 supported:3:60 /data/0/registers/1/modbusDataType
  The daemon takes "tariffEnabled" from a "uint16" alone and drops this "ascii".
  Take "uint16".
)");
}

TEST(RegisterFindings, asciiForANumberIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"ascii","length":1,"scaleValue":0.01})"})}}),
        R"(error text-for-number supported:3:59 /data/0/registers/1/modbusDataType
  The daemon reads a text for the number "energyImport" and drops it.
  Take the type of the number that the meter's description names.
)");
}

TEST(RegisterFindings, aNumberForAsciiIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withoutSerial(
                  {R"({"address":10,"fieldType":"serial","modbusDataType":"uint16","length":1})"})}}),
        R"(error number-for-text supported:2:53 /data/0/registers/0/modbusDataType
  The daemon takes "serial" from "ascii" or "uint32" alone and drops this "uint16".
  Take "ascii" for a text, or "uint32" for a number.
)");
}

TEST(RegisterFindings, aRequestOfNoWordsIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":0,"scaleValue":0.01})"})}}),
        R"(error no-words supported:3:77 /data/0/registers/1/length
  The daemon asks the meter for no words, which every meter refuses.
  Set "length" to 1, or for a text to the number of its words.
)");
}

TEST(RegisterFindings, aRequestOfMoreThan125WordsIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":63,"scaleValue":0.01})"})}}),
        R"(error too-many-words supported:3:77 /data/0/registers/1/length
  The daemon would need 126 words, and one request has 125 at most, so each read fails.
  Make "length" smaller: a number needs 1.
warning unused-words supported:3:77 /data/0/registers/1/length
  The daemon reads 126 words and uses the first 2.
  Set "length" to 1: it counts numbers, not words.
)");
}

TEST(RegisterFindings, aRequestBeyondAddress65535IsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":65535,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(error beyond-address-space supported:3:12 /data/0/registers/1/address
  The daemon asks for words behind address 65535, which every meter refuses.
  Correct "address" or "length".
)");
}

TEST(RegisterFindings, wordsThatAreReadAndNeverUsedAreTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":2,"scaleValue":0.01})"})}}),
        R"(warning unused-words supported:3:77 /data/0/registers/1/length
  The daemon reads 4 words and uses the first 2.
  Set "length" to 1: it counts numbers, not words.
)");
}

TEST(RegisterFindings, aScaleOfZeroIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0})"})}}),
        R"(error scale-zero supported:3:92 /data/0/registers/1/scaleValue
  Every value becomes zero, and the daemon leaves a zero out of the message.
  Give it the meter's factor, or 1.
)");
}

TEST(RegisterFindings, aNegativeScaleIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":-1})"})}}),
        R"(warning scale-negative supported:3:92 /data/0/registers/1/scaleValue
  The daemon turns the sign of every value: it goes out negative.
  Take a positive scale, or keep it if the meter counts the other way round.
)");
}

TEST(RegisterFindings, aScaleThatIsNoNumberIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":"nan"})"})}}),
        R"(error scale-not-finite supported:3:92 /data/0/registers/1/scaleValue
  The daemon sends null for every value of this register.
  Correct the scale.
)");
}

TEST(RegisterFindings, aScaleBeyondSinglePrecisionIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":1e+39})"})}}),
        R"(error scale-not-finite supported:3:92 /data/0/registers/1/scaleValue
  The daemon sends null for every value of this register.
  Correct the scale.
)");
}

TEST(RegisterFindings, anEnergyScaledToWattSecondsIsAbsurd) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":3600000})"})}}),
        R"(warning absurd-energy supported:3:92 /data/0/registers/1/scaleValue
  Each 1 that the meter counts becomes 3.6e+06 kWh in the message, where a counter has 1 to 200000 kWh in all.
  The scale takes the meter's number to kilowatt-hours: 0.001 for watt-hours.
)");
}

TEST(RegisterFindings, anEnergyThatNeverReachesOneKilowattHourIsAbsurd) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint16","length":1,"scaleValue":1e-05})"})}}),
        R"(warning absurd-energy supported:3:92 /data/0/registers/1/scaleValue
  A count of 1000000 becomes 10 kWh in the message, and the largest one 0.65535 kWh.
  The scale takes the meter's number to kilowatt-hours: 0.001 for watt-hours.
)");
}

TEST(RegisterFindings, aNegativeScaleHidesNoAbsurdEnergy) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":-3600000})"})}}),
        R"(warning scale-negative supported:3:92 /data/0/registers/1/scaleValue
  The daemon turns the sign of every value: it goes out negative.
  Take a positive scale, or keep it if the meter counts the other way round.
warning absurd-energy supported:3:92 /data/0/registers/1/scaleValue
  Each 1 that the meter counts becomes 3.6e+06 kWh in the message, where a counter has 1 to 200000 kWh in all.
  The scale takes the meter's number to kilowatt-hours: 0.001 for watt-hours.
)");
}

TEST(RegisterFindings, anEnergyThatTheMessageCanNotHoldIsAbsurd) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"float32","length":1,"scaleValue":1e38})"})}}),
        R"(warning absurd-energy supported:3:93 /data/0/registers/1/scaleValue
  Each 1 that the meter counts is more than the message can hold, where a counter has 1 to 200000 kWh in all.
  The scale takes the meter's number to kilowatt-hours: 0.001 for watt-hours.
)");
}

TEST(RegisterFindings, aFloatThatCountsLessThanAWattSecondIsAbsurd) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"float32","length":1,"scaleValue":1e-9})"})}}),
        R"(warning absurd-energy supported:3:93 /data/0/registers/1/scaleValue
  A count of 1000000 becomes 0.001 kWh in the message.
  The scale takes the meter's number to kilowatt-hours: 0.001 for watt-hours.
)");
}

TEST(RegisterFindings, anAddressThatLooksLikeThe3xxxxNotationHasTheOneOnTheWire) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":30053,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(warning looks-like-notation supported:3:12 /data/0/registers/1/address
  The daemon puts 30053 on the wire as it stands, but it looks like the notation of input register 52.
  If the description counts so, take the address 52 and "registerType": "input".
)");
}

TEST(RegisterFindings, aScaleThatIsNotFiniteByTheDaemonsParserAloneIsTold) {
    for (const std::string scale : {"NaN", "Infinity", "-Infinity", "1e999"}) {
        const std::string found = findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":)" +
                   scale + "}"})},
             {"attached", oneMeter}});
        EXPECT_EQ(found.substr(0, found.find("hint")),
                  R"(error scale-not-finite supported /data/0/registers/1/scaleValue
  The daemon sends null for every value of this register.
  Correct the scale.
)") << scale;
        EXPECT_NE(found.find("hint lenient-json supported:3:"), std::string::npos) << scale;
    }
}
