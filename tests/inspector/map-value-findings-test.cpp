#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds in numbers and names that the daemon takes otherwise than they look, one mistake
// at a time. Each finding stands as its severity, its name, document, line and column, the path;
// what the daemon does; and the remedy.

using inspector::findings;
using namespace map_documents;

namespace {

std::string ofRegister(const std::string& aRegister) {
    return findings({{"supported", withRegisters({aRegister})}});
}

std::string ofAddress(const std::string& address) {
    return ofRegister(R"({"address":)" + address +
                      R"(,"fieldType":"energyImport","modbusDataType":"uint32","length":1})");
}

std::string ofLength(const std::string& length) {
    return ofRegister(
        R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":)" + length +
        "}");
}

std::string ofScale(const std::string& scale) {
    return ofRegister(
        R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":)" +
        scale + "}");
}

} // namespace

TEST(ValueFindings, aHexadecimalTextIsTakenForItsFirstDigits) {
    EXPECT_EQ(ofAddress(R"("0x10")"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 0 for "0x10".
  Write 16.
)");
}

TEST(ValueFindings, aTextThatIsNoNumberIsTakenForZero) {
    EXPECT_EQ(ofAddress(R"("abc")"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 0 for "abc".
  Write a whole number in decimal.
)");
}

TEST(ValueFindings, aTextThatBeginsWithANumberIsTakenForThat) {
    EXPECT_EQ(ofAddress(R"("12abc")"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 12 for "12abc".
  Write a whole number in decimal.
)");
    EXPECT_EQ(ofScale(R"("0x10")"),
              R"(warning number-misread supported:3:92 /data/0/registers/1/scaleValue
  The daemon takes 16 for "0x10".
  Write 16.
)");
    EXPECT_EQ(ofScale(R"("0.01 ")"),
              R"(error number-misread supported:3:92 /data/0/registers/1/scaleValue
  The daemon takes 0 for "0.01 ".
  Write 0.01.
)");
}

TEST(ValueFindings, whatIsWrongWithANumberThatIsTakenIsToldBesideItsText) {
    EXPECT_EQ(ofAddress(R"("40011a")"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 40011 for "40011a".
  Write a whole number in decimal.
warning looks-like-notation supported:3:12 /data/0/registers/1/address
  The daemon puts 40011 on the wire as it stands, but it looks like the notation of holding register 10.
  If the description counts so, take the address 10 and "registerType": "holding".
)");
    EXPECT_EQ(ofLength(R"("64 words")"),
              R"(warning number-misread supported:3:77 /data/0/registers/1/length
  The daemon takes 64 for "64 words".
  Write a whole number in decimal.
error too-many-words supported:3:77 /data/0/registers/1/length
  The daemon would need 128 words, and one request has 125 at most, so each read fails.
  Make "length" smaller: a number needs 1.
warning unused-words supported:3:77 /data/0/registers/1/length
  The daemon reads 128 words and uses the first 2.
  Set "length" to 1: it counts numbers, not words.
)");
}

TEST(ValueFindings, aFractionIsCut) {
    EXPECT_EQ(ofAddress("7.9"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 7 for 7.9.
  Write a whole number in decimal.
)");
}

TEST(ValueFindings, aFractionInATextIsCut) {
    EXPECT_EQ(ofAddress(R"("7.9")"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 7 for "7.9".
  Write a whole number in decimal.
)");
}

TEST(ValueFindings, anyTextOfANumberThatIsTakenAsItStandsIsSound) {
    for (const char* address :
         {R"("7")", R"(" 7")", R"("7 ")", R"("+7")", "7.0", "7e1", R"("7.0")"})
        EXPECT_EQ(ofAddress(address), "") << address;
    for (const char* scale : {R"("0.001")", R"("1e-2")", "0.001", "1", "0.0010000000001"})
        EXPECT_EQ(ofScale(scale), "") << scale;
}

TEST(ValueFindings, aLengthWithAFractionIsCut) {
    EXPECT_EQ(ofLength("1.9"), R"(warning number-misread supported:3:77 /data/0/registers/1/length
  The daemon takes 1 for 1.9.
  Write a whole number in decimal.
)");
}

TEST(ValueFindings, aNumberThatIsTakenForZeroIsAsBadAsWhatComesOfThat) {
    // Address 0 is one as any other, but no words are never read.
    EXPECT_EQ(ofAddress("0.4"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 0 for 0.4.
  Write a whole number in decimal.
)");
    EXPECT_EQ(ofLength("0.4"), R"(error number-misread supported:3:77 /data/0/registers/1/length
  The daemon takes 0 for 0.4.
  Write a whole number in decimal.
)");
    EXPECT_EQ(ofAddress(R"("0x0")"),
              R"(warning number-misread supported:3:12 /data/0/registers/1/address
  The daemon takes 0 for "0x0".
  Write 0.
)");
    EXPECT_EQ(ofLength(R"("0x0")"),
              R"(error number-misread supported:3:77 /data/0/registers/1/length
  The daemon takes 0 for "0x0".
  Write 0.
)");
}

TEST(ValueFindings, aTimeOutOfAFractionOfASecondIsTheUsualOne) {
    EXPECT_EQ(findings({{"config", R"({"modbusMiscConfig":{"timeoutResponseSec":0.5}})"}}),
              R"(warning number-misread config:1:43 /modbusMiscConfig/timeoutResponseSec
  The daemon takes 0 for 0.5.
  Write a whole number in decimal.
)");
}

TEST(ValueFindings, aScaleWithACommaIsTakenForZeroAndToldOnce) {
    EXPECT_EQ(ofScale(R"("0,001")"),
              R"(error number-misread supported:3:92 /data/0/registers/1/scaleValue
  The daemon takes 0 for "0,001".
  Write 0.001.
)");
}

TEST(ValueFindings, aTextForASlaveAddressIsTakenForZeroAndToldOnce) {
    EXPECT_EQ(findings({{"attached", R"({"data":[{"configId":"m","slaveAddress":"one"}]})"}}),
              R"(error number-misread attached:1:41 /data/0/slaveAddress
  The daemon takes 0 for "one".
  Write a whole number in decimal.
)");
}

TEST(ValueFindings, aTextForASlaveAddressMayDoOverTcp) {
    EXPECT_EQ(
        findings({{"attached", R"({"data":[{"configId":"m","slaveAddress":"one"}]})"},
                  {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})"}}),
        R"(warning number-misread attached:1:41 /data/0/slaveAddress
  The daemon takes 0 for "one".
  Write a whole number in decimal.
hint broadcast-address attached:1:41 /data/0/slaveAddress
  The daemon asks unit 0, which not every device or gateway answers.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(ValueFindings, anAddressInSixDigitsHasTheOneOnTheWire) {
    EXPECT_EQ(ofAddress("400108"),
              R"(error does-not-convert supported:3:12 /data/0/registers/1/address
  The daemon takes nothing of this document: Narrowing error. t:6892 u:400108 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:146 / address / 1 / registers / 0 / data
  If that is the notation of a holding register, take the address 107 and "registerType": "holding".
)");
}

TEST(ValueFindings, aRegisterWithoutAFieldIsTold) {
    for (const std::string field : {"", R"(,"fieldType":null)"})
        EXPECT_EQ(ofRegister(R"({"address":10,"modbusDataType":"uint32","length":1)" + field + "}"),
                  R"(warning no-field supported:3:1 /data/0/registers/1/fieldType
  Without "fieldType" the daemon reads this register and drops it.
  Add the field that it is to fill, or "none" if it is read for nothing on purpose.
)") << field;
}

TEST(ValueFindings, aFieldThatALaterNullTakesBackIsTold) {
    EXPECT_EQ(
        ofRegister(
            R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"fieldType":null})"),
        R"(warning no-field supported:3:1 /data/0/registers/1/fieldType
  Without "fieldType" the daemon reads this register and drops it.
  Add the field that it is to fill, or "none" if it is read for nothing on purpose.
warning duplicate-key supported:3:79 /data/0/registers/1/fieldType
  The key "fieldType" stands here more than once, and the daemon takes the last.
  Keep one of them.
)");
}

TEST(ValueFindings, aRegisterThatIsReadForNothingOnPurposeIsSound) {
    EXPECT_EQ(
        ofRegister(R"({"address":10,"fieldType":"none","modbusDataType":"bitmap","length":1})"),
        "");
}

TEST(ValueFindings, anUnknownKeyWithNoNearOneHasThoseThatAreKnown) {
    EXPECT_EQ(
        ofRegister(
            R"({"address":10,"unit":"kWh","fieldType":"none","modbusDataType":"none","length":1})"),
        R"(warning unknown-key supported:3:15 /data/0/registers/1/unit
  The daemon knows no key "unit" here and ignores it.
  Delete it; those known are "address", "fieldType", "modbusDataType", "length", "scaleValue", "registerType".
)");
}

TEST(ValueFindings, aSlipOfTheKeyOfAReplyIsTold) {
    EXPECT_EQ(findings({{"attached", R"({"Data":[],"data":[]})"}}),
              R"(warning unknown-key attached:1:2 /Data
  The daemon reads nothing of a reply but "data" and ignores the key "Data".
  Did you mean "data"? Else delete it.
)");
}

TEST(ValueFindings, whatElseAServerSaysInItsReplyIsSound) {
    EXPECT_EQ(findings({{"attached", R"({"meta":true,"data":[],"status":200})"}}), "");
}

TEST(ValueFindings, anUnknownApplicationIsHarmless) {
    EXPECT_EQ(
        findings({{"attached",
                   R"({"data":[{"configId":"m","slaveAddress":7,"application":"solarium"}]})"}}),
        R"(hint unknown-name attached:1:57 /data/0/application
  The daemon doesn't know the name "solarium" and takes "unitialized" instead, its value 0: nothing depends on it.
  Did you mean "solar"?
)");
}

TEST(ValueFindings, anUnknownRegisterTypeThatMeansHoldingIsHarmless) {
    EXPECT_EQ(
        ofRegister(
            R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"registerType":"Holding"})"),
        R"(hint unknown-name supported:3:94 /data/0/registers/1/registerType
  The daemon doesn't know the name "Holding" and takes "none" instead, its value 0: it reads a holding register.
  Did you mean "holding"?
)");
}

TEST(ValueFindings, aNameThatIsNearNoneHasThoseThatAreKnown) {
    EXPECT_EQ(
        ofRegister(
            R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"registerType":"coils!"})"),
        R"(warning unknown-name supported:3:94 /data/0/registers/1/registerType
  The daemon doesn't know the name "coils!" and takes "none" instead, its value 0: it reads a holding register.
  Take one that it knows: "none", "input", "holding".
)");
}

TEST(ValueFindings, aMisspeltRateIsToldOnce) {
    EXPECT_EQ(
        findings(
            {{"serial",
              R"({"data":{"baudRate":"baud960","parity":"even","dataBits":"bits8","stopBits":"bits1"}})"}}),
        R"(error unknown-name serial:1:21 /data/baudRate
  The daemon doesn't know the name "baud960" and takes "none" instead, its value 0: it opens no serial line, and all reads fail.
  Did you mean "baud9600"?
)");
}

TEST(ValueFindings, aMisspeltRateIsHarmlessOverTcp) {
    EXPECT_EQ(
        findings(
            {{"serial",
              R"({"data":{"baudRate":"baud960","parity":"even","dataBits":"bits8","stopBits":"bits1"}})"},
             {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})"}}),
        R"(hint unknown-name serial:1:21 /data/baudRate
  The daemon doesn't know the name "baud960" and takes "none" instead, its value 0: over TCP nothing depends on it.
  Did you mean "baud9600"?
)");
}
