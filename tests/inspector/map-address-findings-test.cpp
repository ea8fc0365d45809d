#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds in the addresses of meters, one mistake at a time. Each finding stands as its
// severity, its name, document, line and column, the path; what the daemon does; and the remedy.

using inspector::findings;
using namespace map_documents;

TEST(AddressFindings, twoMetersOnOneSlaveAddressAreTold) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":7},{"configId":"m","slaveAddress":7}]})"}}),
        R"(warning shared-address attached:1:75 /data/1/slaveAddress
  The meter at /data/0 has the address 7 too: the daemon reads one device for both, each time under the serial that its register gives.
  Give each meter an address of its own.
)");
}

TEST(AddressFindings, twoMetersThatShareTheirLowEightBitsAreTold) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":7},{"configId":"m","slaveAddress":263}]})"}}),
        R"(error address-out-of-range attached:1:75 /data/1/slaveAddress
  The Modbus library refuses the address 263, and the daemon reads the meter at /data/0 in its place, under that one's serial.
  Give it the address that is set at the meter, 1 to 247.
warning shared-low-bits attached:1:75 /data/1/slaveAddress
  The low eight bits are those of the meter at /data/0: the messages of both have the same "slaveAddress", and a failed read takes the value of the other one.
  Give each meter an address from 1 to 247.
)");
}

TEST(AddressFindings, addressesOutsideOf1To247And0AreTold) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":0},{"configId":"m","slaveAddress":-1}]})"}}),
        R"(error broadcast-address attached:1:41 /data/0/slaveAddress
  The daemon asks all meters of the line at once, which none of them answers, so each of its reads waits for the time-out.
  Give it the address that is set at the meter, 1 to 247.
error address-out-of-range attached:1:75 /data/1/slaveAddress
  The Modbus library refuses the address -1, and the daemon reads the meter at /data/0 in its place, under that one's serial.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(AddressFindings, twoMetersOnOneAddressGoUnderTheFirstSerialOfTheList) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":7,"serial":"a"},{"configId":"m","slaveAddress":7,"serial":"b"}]})"}}),
        R"(warning shared-address attached:1:88 /data/1/slaveAddress
  The meter at /data/0 has the address 7 too: the daemon reads one device for both, each time under the serial "a", the first that the list has for it.
  Give each meter an address of its own.
)");
}

TEST(AddressFindings, aRefusedAddressWithASerialTakesTheReadingsOfTheMeterAheadOfIt) {
    EXPECT_EQ(
        findings(
            {{"attached",
              R"({"data":[{"configId":"m","slaveAddress":7},{"configId":"m","slaveAddress":300,"serial":"x"}]})"}}),
        R"(error address-out-of-range attached:1:75 /data/1/slaveAddress
  The Modbus library refuses the address 300, and the daemon reads the meter at /data/0 in its place, under this one's serial.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(AddressFindings, aRefusedAddressAtTheStartTakesTheLastOneOfThePollBefore) {
    const std::string attached =
        R"({"data":[{"configId":"m","slaveAddress":300},{"configId":"m","slaveAddress":7}]})";
    EXPECT_EQ(findings({{"attached", attached}}),
              R"(error address-out-of-range attached:1:41 /data/0/slaveAddress
  The Modbus library refuses the address 300: in the first poll all reads of this meter fail, and from the second on the daemon reads the meter at /data/1 in its place, under that one's serial.
  Give it the address that is set at the meter, 1 to 247.
)");
    EXPECT_EQ(
        findings({{"attached", attached},
                  {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})"}}),
        R"(error address-out-of-range attached:1:41 /data/0/slaveAddress
  The Modbus library refuses the address 300: in the first poll the daemon asks unit 255 instead, and from the second on the daemon reads the meter at /data/1 in its place, under that one's serial.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(AddressFindings, aRefusedAddressWithoutAnyOtherMeterFails) {
    const std::string attached =
        R"({"data":[{"configId":"m","slaveAddress":300},{"configId":"gone","slaveAddress":7}]})";
    const std::string found =
        findings({{"supported", withRegisters({energyRegister})}, {"attached", attached}});
    EXPECT_EQ(found.substr(0, found.find("error no-such-model")),
              R"(error address-out-of-range attached:1:41 /data/0/slaveAddress
  The Modbus library refuses the address 300, so all reads of this meter fail.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(AddressFindings, aMeterOfWhichOnlyTheListedSerialIsWantedGivesNoAddress) {
    EXPECT_EQ(findings({{"supported", withRegisters({})},
                        {"attached", R"({"data":[{"configId":"m","slaveAddress":7,"serial":"x"},
{"configId":"m","slaveAddress":300}]})"}}),
              R"(error address-out-of-range attached:2:32 /data/1/slaveAddress
  The Modbus library refuses the address 300, so all reads of this meter fail.
  Give it the address that is set at the meter, 1 to 247.
)");
}
