#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds in the text of a document, one mistake at a time. Each finding stands as its
// severity, its name, document, line and column, the path; what the daemon does; and the remedy.

using inspector::findings;
using namespace map_documents;

TEST(TextFindings, aSoundMapHasNone) {
    EXPECT_EQ(
        findings(
            {{"supported", withRegisters({energyRegister})},
             {"attached", oneMeter},
             {"serial",
              R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})"},
             {"config", "{}"}}),
        "");
}

TEST(TextFindings, aListOfModelsNeedsNoEnvelope) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"([{"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4}]}])"}}),
        "");
}

TEST(TextFindings, aSingleModelIsTakenWithPathsOfItsOwn) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"({"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":0,"scaleValue":0.01}]})"}}),
        R"(error no-words supported:1:171 /registers/1/length
  The daemon asks the meter for no words, which every meter refuses.
  Set "length" to 1, or for a text to the number of its words.
)");
}

TEST(TextFindings, aReplyThatDoesNotConvertShowsTheDaemonsMessageAndThePlace) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":70000,"fieldType":"powerImport","modbusDataType":"uint16","length":1})"})}}),
        R"(error does-not-convert supported:3:12 /data/0/registers/1/address
  The daemon takes nothing of this document: Narrowing error. t:4464 u:70000 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:146 / address / 1 / registers / 0 / data
  Give it a whole number from 0 to 65535.
)");
}

TEST(TextFindings, theDaemonStopsAtTheFirstOfSeveralValuesThatDoNotConvert) {
    EXPECT_EQ(findings({{"attached",
                         R"({"data":[{"slaveAddress":3000000000,"name":7},{"configId":8}]})"}}),
              R"(error does-not-convert attached:1:26 /data/0/slaveAddress
  The daemon would stop at this value too: Narrowing error. t:-1294967296 u:3000000000 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:146 / slaveAddress / 0 / data
  Give it a whole number from -2147483648 to 2147483647.
error does-not-convert attached:1:44 /data/0/name
  The daemon takes nothing of this document: Expecting json string type:3 condition:type == json_type_string vx/record.h:176 / name / 0 / data
  Give it a text.
error does-not-convert attached:1:59 /data/1/configId
  The daemon would stop at this value too: Expecting json string type:3 condition:type == json_type_string vx/record.h:176 / configId / 1 / data
  Give it a text.
)");
}

TEST(TextFindings, aListThatIsNoneDoesNotConvert) {
    EXPECT_EQ(findings({{"supported", R"({"data":{}})"}}),
              R"(error does-not-convert supported:1:9 /data
  The daemon takes nothing of this document: Expecting json array. jsonType:4 condition:jsonType == json_type_array vx/record.h:217 / data
  Give it a list.
)");
}

TEST(TextFindings, aTextThatIsNoJsonShowsTheDaemonsMessageAndThePlace) {
    EXPECT_EQ(findings({{"supported", R"({"data":[
{"id" "m"}]})"}}),
              R"(error does-not-convert supported:2:7
  The daemon takes nothing of this document: Failed to parse json. object property name separator ':' expected condition:object vx/json.cpp:33
  Make it JSON.
)");
}

TEST(TextFindings, anEmptyTextIsNoJson) {
    EXPECT_EQ(findings({{"supported", ""}}),
              R"(error does-not-convert supported:1:1
  The daemon takes nothing of this document: Failed to parse json. unexpected end of data condition:object vx/json.cpp:33
  Make it JSON.
)");
}

TEST(TextFindings, aListOfMetersNeedsNoEnvelope) {
    EXPECT_EQ(findings({{"attached", R"([{"configId":"m","slaveAddress":7}])"}}), "");
}

TEST(TextFindings, aSingleMeterIsTakenWithPathsOfItsOwn) {
    EXPECT_EQ(findings({{"attached", R"({"configId":"m","slaveAddress":7})"}}), "");
    EXPECT_EQ(findings({{"attached", R"({"name":"Solar","slaveAddress":0})"},
                        {"supported", withRegisters({energyRegister})}}),
              R"(error no-such-model attached:1:1 /configId
  No model has the id "", so the daemon never reads this meter, and nothing says so.
  Add the model, or write the id of the right one.
error broadcast-address attached:1:32 /slaveAddress
  The daemon asks all meters of the line at once, which none of them answers, so each of its reads waits for the time-out.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(TextFindings, aSingleMeterThatDoesNotConvertIsTold) {
    EXPECT_EQ(findings({{"attached", R"({"configId":"m","name":7})"}}),
              R"(error does-not-convert attached:1:24 /name
  The daemon takes nothing of this document: Expecting json string type:3 condition:type == json_type_string vx/record.h:176 / name
  Give it a text.
)");
}

TEST(TextFindings, aReplyThatIsANumberDoesNotConvert) {
    EXPECT_EQ(findings({{"serial", "7"}}),
              R"(error does-not-convert serial:1:1
  The daemon takes nothing of this document: Expecting json object. jsonType:3 condition:jsonType == json_type_object vx/record.h:251
  Give it an object.
)");
}

TEST(TextFindings, aReplyWithoutDataCountsAsEmpty) {
    EXPECT_EQ(findings({{"attached", R"({"meters":[]})"}}),
              R"(error no-data attached:1:1 /data
  Without a key "data" the daemon takes the reply for an empty one.
  Put it into a list under the key "data": {"data": [...]}.
)");
}

TEST(TextFindings, anUnknownKeyHasTheNearestKnownOne) {
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

TEST(TextFindings, anUnknownNameOfAFieldHasTheNearestOneAndTheValueZero) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImports","modbusDataType":"uint32","length":1,"scaleValue":0.01})"})}}),
        R"(error unknown-name supported:3:27 /data/0/registers/1/fieldType
  The daemon doesn't know the name "energyImports" and takes "none" instead, its value 0: it reads the register and drops it.
  Did you mean "energyImport"?
)");
}

TEST(TextFindings, anUnknownDataTypeIsToldOnceThoughItHasNoDecoderEither) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"float","length":1,"scaleValue":0.01})"})}}),
        R"(error unknown-name supported:3:59 /data/0/registers/1/modbusDataType
  The daemon doesn't know the name "float" and takes "none" instead, its value 0: it reads the register and drops it.
  Did you mean "float32"?
)");
}

TEST(TextFindings, anUnknownRegisterTypeIsTold) {
    EXPECT_EQ(
        findings(
            {{"supported",
              withRegisters(
                  {R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01,"registerType":"Input"})"})}}),
        R"(warning unknown-name supported:3:112 /data/0/registers/1/registerType
  The daemon doesn't know the name "Input" and takes "none" instead, its value 0: it reads a holding register.
  Did you mean "input"?
)");
}

TEST(TextFindings, textBehindTheEndOfTheJsonIsTold) {
    EXPECT_EQ(findings({{"supported", R"({"data":[{"id":"m","registers":[
{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},
{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01}]}]} {"data":[]})"}}),
              R"(warning text-behind supported:3:102
  The daemon reads the first value and ignores what stands behind it.
  Delete it, or find out what was lost there.
)");
}

TEST(TextFindings, aDuplicateKeyIsTold) {
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

TEST(TextFindings, whatOnlyTheDaemonsParserTakesIsToldAndCheckedAllTheSame) {
    EXPECT_EQ(findings({{"supported", R"({"data":[{'id':"m","registers":[
{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},
{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01}]}]})"}}),
              R"(hint lenient-json supported:1:11
  The daemon's parser takes this text, but by the letter it is no JSON: Missing a name for object member.
  Write what every parser understands.
)");
}

TEST(TextFindings, numbersThatAreNoneOfJsonAreTakenInASingleModelToo) {
    EXPECT_EQ(
        findings(
            {{"supported",
              R"({"id":"m","registers":[{"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},{"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1.,"scaleValue":Infinity}]})"}}),
        R"(error scale-not-finite supported /registers/1/scaleValue
  The daemon sends null for every value of this register.
  Correct the scale.
hint lenient-json supported:1:173
  The daemon's parser takes this text, but by the letter it is no JSON: Miss fraction part in number.
  Write what every parser understands.
)");
}

TEST(TextFindings, anInfinityThatDoesNotConvertIsTold) {
    EXPECT_EQ(findings({{"serial", R"({"data":Infinity})"}}),
              R"(error does-not-convert serial /data
  The daemon takes nothing of this document: Expecting json object. jsonType:2 condition:jsonType == json_type_object vx/record.h:251 / data
  Give it an object.
hint lenient-json serial:1:9
  The daemon's parser takes this text, but by the letter it is no JSON: Invalid value.
  Write what every parser understands.
)");
}

TEST(TextFindings, aKeyAndANameEndAtTheirFirstNulAsTheyDoForTheDaemon) {
    EXPECT_EQ(
        findings(
            {{"serial",
              R"({"data\u0000x":{"baudRate":"baud9600\u0000x","parity\u0000":"even","dataBits":"bits8","stopBits":"bits1"}})"}}),
        "");
}

TEST(TextFindings, textBehindTheEndThatLooksLikeACommentDoesNotConvert) {
    EXPECT_EQ(findings({{"attached", R"({"data":[]} /dev)"}}),
              R"(error does-not-convert attached:1:14
  The daemon takes nothing of this document: Failed to parse json. expected comment condition:object vx/json.cpp:33
  Make it JSON.
)");
}
