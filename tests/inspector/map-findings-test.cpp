#include "inspector-program.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

// What `map` finds, one mistake at a time. Each finding stands as its severity, its name, document,
// line and column, the path; what the daemon does; and the remedy.

using inspector::findings;

namespace {

const std::string serialRegister =
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4})";
const std::string energyRegister =
    R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})";
const std::string oneMeter = R"({"data":[{"configId":"m","slaveAddress":7}]})";

/// A reply with one model, a register in each line.
std::string withoutSerial(const std::vector<std::string>& registers) {
    std::string text = R"({"data":[{"id":"m","registers":[)";
    const char* separator = "\n";
    for (const std::string& aRegister : registers) {
        text += separator + aRegister;
        separator = ",\n";
    }
    return text + "]}]}";
}

/// The same with a serial register in the second line, ahead of the others.
std::string withRegisters(std::vector<std::string> registers) {
    registers.insert(registers.begin(), serialRegister);
    return withoutSerial(registers);
}

} // namespace

TEST(MapFindings, aSoundMapHasNone) {
    EXPECT_EQ(
        findings(
            {{"supported", withRegisters({energyRegister})},
             {"attached", oneMeter},
             {"serial",
              R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})"},
             {"config", "{}"}}),
        "");
}

TEST(MapFindings, aListOfModelsNeedsNoEnvelope) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"([{"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4}]}])"}}),
        "");
}

TEST(MapFindings, aSingleModelIsTakenWithPathsOfItsOwn) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"({"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":0,"scaleValue":0.01}]})"}}),
        R"(error no-words supported:1:171 /registers/1/length
  The daemon asks the meter for no words, which every meter refuses.
  Set "length" to 1, or for a text to the number of its words.
)");
}

TEST(MapFindings, aReplyThatDoesNotConvertShowsTheDaemonsMessageAndThePlace) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":70000,"fieldType":"powerImport","modbusDataType":"uint16","length":1})"})}}),
        R"(error does-not-convert supported:3:12 /data/0/registers/1/address
  The daemon takes nothing of this document: Narrowing error. t:4464 u:70000 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:146 / address / 1 / registers / 0 / data
  Give it a value of the kind that belongs here.
)");
}

TEST(MapFindings, aListThatIsNoneDoesNotConvert) {
    EXPECT_EQ(findings({{"supported", R"({"data":{}})"}}),
              R"(error does-not-convert supported:1:9 /data
  The daemon takes nothing of this document: Expecting json array. jsonType:4 condition:jsonType == json_type_array vx/record.h:217 / data
  Give it a value of the kind that belongs here.
)");
}

TEST(MapFindings, aTextThatIsNoJsonShowsTheDaemonsMessageAndThePlace) {
    EXPECT_EQ(findings({{"supported", R"({"data":[
{"id" "m"}]})"}}),
              R"(error does-not-convert supported:2:7
  The daemon takes nothing of this document: Failed to parse json. object property name separator ':' expected condition:object vx/json.cpp:33
  Make it JSON.
)");
}

TEST(MapFindings, anEmptyTextIsNoJson) {
    EXPECT_EQ(findings({{"supported", ""}}),
              R"(error does-not-convert supported:1:1
  The daemon takes nothing of this document: Failed to parse json. unexpected end of data condition:object vx/json.cpp:33
  Make it JSON.
)");
}

TEST(MapFindings, aListOfMetersNeedsNoEnvelope) {
    EXPECT_EQ(findings({{"attached", R"([{"configId":"m","slaveAddress":7}])"}}), "");
}

TEST(MapFindings, aReplyThatIsANumberDoesNotConvert) {
    EXPECT_EQ(findings({{"serial", "7"}}),
              R"(error does-not-convert serial:1:1
  The daemon takes nothing of this document: Expecting json object. jsonType:3 condition:jsonType == json_type_object vx/record.h:251
  Give it a value of the kind that belongs here.
)");
}

TEST(MapFindings, aReplyWithoutDataCountsAsEmpty) {
    EXPECT_EQ(findings({{"attached", R"({"meters":[]})"}}),
              R"(error no-data attached:1:1 /data
  Without a key "data" the daemon takes the reply for an empty one.
  Put what the reply is to say under the key "data".
)");
}

TEST(MapFindings, anUnknownKeyHasTheNearestKnownOne) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scale":0.01})"})}}),
        R"(warning unknown-key supported:3:79 /data/0/registers/1/scale
  The daemon knows no key "scale" here and ignores it.
  Did you mean "scaleValue"? Else delete it.
)");
}

TEST(MapFindings, anUnknownNameOfAFieldHasTheNearestOneAndTheValueZero) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImports","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(error unknown-name supported:3:27 /data/0/registers/1/fieldType
  The daemon doesn't know the name "energyImports" and takes "none" instead, its value 0.
  Did you mean "energyImport"?
)");
}

TEST(MapFindings, anUnknownDataTypeIsToldOnceThoughItHasNoDecoderEither) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"float","length":1,"scaleValue":0.01})"})}}),
        R"(error unknown-name supported:3:59 /data/0/registers/1/modbusDataType
  The daemon doesn't know the name "float" and takes "none" instead, its value 0.
  Did you mean "float32"?
)");
}

TEST(MapFindings, anUnknownRegisterTypeIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01,"registerType":"Input"})"})}}),
        R"(error unknown-name supported:3:112 /data/0/registers/1/registerType
  The daemon doesn't know the name "Input" and takes "none" instead, its value 0.
  Did you mean "input"?
)");
}

TEST(MapFindings, textBehindTheEndOfTheJsonIsTold) {
    EXPECT_EQ(findings({{"supported", R"({"data":[{"id":"m","registers":[
{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},
{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01}]}]} {"data":[]})"}}),
              R"(warning text-behind supported:3:102
  The daemon reads the first value and ignores what stands behind it.
  Delete it, or find out what was lost there.
)");
}

TEST(MapFindings, aDuplicateKeyIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"address":12,"fieldType":"energyImport","modbusDataType":"uint32","length":1})"})}}),
        R"(warning duplicate-key supported:3:15 /data/0/registers/1/address
  The key "address" stands here more than once, and the daemon takes the last.
  Keep one of them.
)");
}

TEST(MapFindings, whatOnlyTheDaemonsParserTakesIsToldAndCheckedAllTheSame) {
    EXPECT_EQ(findings({{"supported", R"({"data":[{'id':"m","registers":[
{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},
{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01}]}]})"}}),
              R"(hint lenient-json supported:1:11
  The daemon's parser takes this text, but by the letter it is no JSON: Missing a name for object member.
  Write what every parser understands.
)");
}

TEST(MapFindings, aDataTypeWithoutADecoderIsTold) {
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

TEST(MapFindings, tariffEnabledNotAsUint16IsTold) {
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

TEST(MapFindings, asciiForANumberIsTold) {
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

TEST(MapFindings, aNumberForAsciiIsTold) {
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

TEST(MapFindings, aRequestOfNoWordsIsTold) {
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

TEST(MapFindings, aRequestOfMoreThan125WordsIsTold) {
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

TEST(MapFindings, aRequestBeyondAddress65535IsTold) {
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

TEST(MapFindings, wordsThatAreReadAndNeverUsedAreTold) {
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

TEST(MapFindings, theSameFieldTwiceTellsWhichOneWins) {
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

TEST(MapFindings, powerImportTwiceTellsWhatBecomesOfTheSign) {
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

TEST(MapFindings, aSecondSerialTellsThatTheFirstCounts) {
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

TEST(MapFindings, powerExportBehindPowerImportTellsWhatBecomesOfTheSign) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"powerImport","modbusDataType":"int32","length":1,"scaleValue":0.01})",
                   R"({"address":20,"fieldType":"powerExport","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(hint import-and-export supported:4:27 /data/0/registers/2/fieldType
  The daemon reads this register behind that of "powerImport" and puts its value in the place of what a negative import left as production.
  Delete this one if the import has a sign; keep both if it is never negative.
)");
}

TEST(MapFindings, powerExportBehindAPowerImportThatIsNeverNegativeIsSound) {
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

TEST(MapFindings, powerImportBehindPowerExportTellsWhatBecomesOfTheSign) {
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

TEST(MapFindings, powerExportAloneIsAHint) {
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

TEST(MapFindings, aScaleOfZeroIsTold) {
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

TEST(MapFindings, aNegativeScaleIsTold) {
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

TEST(MapFindings, aScaleThatIsNoNumberIsTold) {
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

TEST(MapFindings, aScaleBeyondSinglePrecisionIsTold) {
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

TEST(MapFindings, anEnergyScaledToWattSecondsIsAbsurd) {
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

TEST(MapFindings, anEnergyThatNeverReachesOneKilowattHourIsAbsurd) {
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

TEST(MapFindings, anAddressThatLooksLikeThe3xxxxNotationHasTheOneOnTheWire) {
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

TEST(MapFindings, aMapWithoutASerialRegisterIsTold) {
    EXPECT_EQ(findings({{"supported", withoutSerial({energyRegister})}}),
              R"(error no-serial-register supported:1:32 /data/0/registers
  The daemon never sends anything of this model's meters, whatever serial the list of attached meters gives them.
  Add a register of type "serial"; with a serial in the list it isn't read.
)");
}

TEST(MapFindings, aSerialRegisterThatGivesNoneIsToldIfTheListHasNone) {
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

TEST(MapFindings, aSerialRegisterThatIsNeverReadIsToldIfTheListHasOne) {
    EXPECT_EQ(
        findings({{"supported", withRegisters({energyRegister})},
                  {"attached", R"({"data":[{"configId":"m","slaveAddress":7,"serial":"x"}]})"}}),
        R"(hint serial-never-read supported:2:1 /data/0/registers/0
  The daemon takes the serial of the list of attached meters and never reads this register.
  Keep the register, without which nothing is sent, and delete the serial in the list if the meter's own is to count.
)");
}

TEST(MapFindings, aMeterWhoseModelIsMissingIsTold) {
    EXPECT_EQ(findings({{"supported", withRegisters({energyRegister})},
                        {"attached", R"({"data":[{"configId":"n","slaveAddress":7}]})"}}),
              R"(error no-such-model attached:1:22 /data/0/configId
  No model has the id "n", so the daemon never reads this meter, and nothing says so.
  Add the model, or write the id of the right one.
)");
}

TEST(MapFindings, aModelIdTwiceIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"({"data":[{"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4}]},{"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4}]}]})"}}),
        R"(warning model-twice supported:1:112 /data/1/id
  The model "m" stands also at /data/0, and the daemon reads each of its meters with both and sends two messages.
  Delete one of them, or give it another id.
)");
}

TEST(MapFindings, twoMetersOnOneSlaveAddressAreTold) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":7},{"configId":"m","slaveAddress":7}]})"}}),
        R"(warning shared-address attached:1:75 /data/1/slaveAddress
  The meter at /data/0 has the address 7 too: the daemon reads one device for both, under the first serial that the list has for it.
  Give each meter an address of its own.
)");
}

TEST(MapFindings, twoMetersThatShareTheirLowEightBitsAreTold) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":7},{"configId":"m","slaveAddress":263}]})"}}),
        R"(error address-out-of-range attached:1:75 /data/1/slaveAddress
  The Modbus library refuses the address 263, and the daemon reads the meter ahead of it in its place, under this one's serial.
  Give it the address that is set at the meter, 1 to 247.
warning shared-low-bits attached:1:75 /data/1/slaveAddress
  The low eight bits are those of the meter at /data/0: the messages of both have the same "slaveAddress", and a failed read takes the value of the other one.
  Give each meter an address from 1 to 247.
)");
}

TEST(MapFindings, addressesOutsideOf1To247And0AreTold) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":0},{"configId":"m","slaveAddress":-1}]})"}}),
        R"(error broadcast-address attached:1:41 /data/0/slaveAddress
  The daemon asks all meters of the line at once, which none of them answers, so each of its reads waits for the time-out.
  Give it the address that is set at the meter, 1 to 247.
error address-out-of-range attached:1:75 /data/1/slaveAddress
  The Modbus library refuses the address -1, and the daemon reads the meter ahead of it in its place, under this one's serial.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(MapFindings, serialParametersThatLeaveThePortClosedAreTold) {
    EXPECT_EQ(findings({{"serial", R"({"data":{}})"}}),
              R"(error port-stays-closed serial:1:9 /data/baudRate
  Without "baudRate" the daemon opens no serial line, and all reads fail.
  Give it the value that is set at the meters, such as "baud9600".
error port-stays-closed serial:1:9 /data/parity
  Without "parity" the daemon opens no serial line, and all reads fail.
  Give it the value that is set at the meters, such as "even".
error port-stays-closed serial:1:9 /data/dataBits
  Without "dataBits" the daemon opens no serial line, and all reads fail.
  Give it the value that is set at the meters, such as "bits8".
error port-stays-closed serial:1:9 /data/stopBits
  Without "stopBits" the daemon opens no serial line, and all reads fail.
  Give it the value that is set at the meters, such as "bits1".
)");
}

TEST(MapFindings, whatHasNoEffectIsAHint) {
    EXPECT_EQ(
        findings(
            {{"serial",
              R"({"data":{"serialDevice":"/dev/ttyS0","baudRate":"baud9600","parity":"even","dataBits":"bits7","stopBits":"bits1"}})"},
             {"config", R"({"modbusMiscConfig":{"readIntervalUSec":5}})"}}),
        R"(hint device-without-effect serial:1:25 /data/serialDevice
  The daemon opens /dev/ttymxc2 whatever device is named here.
  Delete it.
hint data-bits-without-effect serial:1:87 /data/dataBits
  The line runs at eight data bits whatever number is given here.
  Set the meters to eight data bits.
hint interval-without-effect config:1:41 /modbusMiscConfig/readIntervalUSec
  The daemon pauses 20000 microseconds ahead of each request whatever number is given here.
  Delete it.
)");
}

TEST(MapFindings, aServerThatCanNotBeReachedAndANegativeTimeOutAreTold) {
    EXPECT_EQ(
        findings(
            {{"config",
              R"({"modbusMiscConfig":{"modbusTCPServer":"gateway","timeoutResponseSec":-1}})"},
             {"attached",
              R"({"data":[{"configId":"m","slaveAddress":0},{"configId":"m","slaveAddress":255}]})"}}),
        R"(hint broadcast-address attached:1:41 /data/0/slaveAddress
  The daemon asks unit 0, which not every device or gateway answers.
  Give it the address that is set at the meter, 1 to 247.
error no-port config:1:21 /modbusMiscConfig/port
  The daemon gets no connection to port 0 and knows no other one.
  Give the port of the server; that of Modbus is 502.
error server-not-an-address config:1:40 /modbusMiscConfig/modbusTCPServer
  The daemon looks up no names, so it gets no connection to "gateway".
  Give the IPv4 address of the server.
error negative-time-out config:1:71 /modbusMiscConfig/timeoutResponseSec
  The daemon stands still at the first answer that doesn't come.
  Give a number of seconds, or leave it out for 5.
)");
}
