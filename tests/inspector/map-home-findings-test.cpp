#include "inspector-program.h"
#include "map-documents.h"

#include <gtest/gtest.h>

// What `map` finds in meters, serial parameters and configuration file, one mistake at a time. Each
// finding stands as its severity, its name, document, line and column, the path; what the daemon
// does; and the remedy.

using inspector::findings;
using namespace map_documents;

TEST(HomeFindings, aMeterWhoseModelIsMissingIsTold) {
    EXPECT_EQ(findings({{"supported", withRegisters({energyRegister})},
                        {"attached", R"({"data":[{"configId":"n","slaveAddress":7}]})"}}),
              R"(error no-such-model attached:1:22 /data/0/configId
  No model has the id "n", so the daemon never reads this meter, and nothing says so.
  Add the model, or write the id of the right one.
)");
}

TEST(HomeFindings, noModelIsMissingOfAReplyThatIsNoJson) {
    const std::string found =
        findings({{"supported", R"({"data":[{"id":"m")"},
                  {"attached", R"({"data":[{"configId":"m","slaveAddress":300}]})"}});
    EXPECT_EQ(found, R"(error does-not-convert supported:1:19
  The daemon takes nothing of this document: Failed to parse json. unexpected end of data condition:object vx/json.cpp:33
  Make it JSON.
error address-out-of-range attached:1:41 /data/0/slaveAddress
  The Modbus library refuses the address 300, so all reads of this meter fail.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(HomeFindings, aModelThatDoesNotConvertIsNotMissing) {
    const std::string found =
        findings({{"supported", R"({"data":[{"id":"m","registers":7},{"id":"k","registers":[]}]})"},
                  {"attached", R"({"data":[{"configId":"n","slaveAddress":5},)"
                               R"({"configId":"m","slaveAddress":7},)"
                               R"({"configId":"n","slaveAddress":300}]})"}});
    EXPECT_EQ(found.substr(found.find("error no-such-model")),
              R"(error no-such-model attached:1:22 /data/0/configId
  No model has the id "n", so the daemon never reads this meter, and nothing says so.
  Add the model, or write the id of the right one.
error no-such-model attached:1:90 /data/2/configId
  No model has the id "n", so the daemon never reads this meter, and nothing says so.
  Add the model, or write the id of the right one.
error address-out-of-range attached:1:109 /data/2/slaveAddress
  The Modbus library refuses the address 300, and the daemon reads the meter at /data/1 in its place, under that one's serial.
  Give it the address that is set at the meter, 1 to 247.
)");
}

TEST(HomeFindings, serialParametersThatLeaveThePortClosedAreTold) {
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

TEST(HomeFindings, whatHasNoEffectIsAHint) {
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

TEST(HomeFindings, whatHasNoEffectOnASerialLineHasNoneOverTcpEither) {
    EXPECT_EQ(
        findings(
            {{"serial",
              R"({"data":{"serialDevice":"/dev/ttyS0","baudRate":"baud9600","parity":"even","dataBits":"bits7","stopBits":"bits1"}})"},
             {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})"}}),
        R"(hint device-without-effect serial:1:25 /data/serialDevice
  Over TCP the daemon opens no serial line, whatever stands here.
  Delete it.
hint data-bits-without-effect serial:1:87 /data/dataBits
  Over TCP the daemon opens no serial line, whatever stands here.
  Make it "bits8".
)");
}

TEST(HomeFindings, theOnlySerialParameterIsNeededOverTcp) {
    EXPECT_EQ(
        findings({{"serial", R"({"data":{"serialDevice":"/dev/ttyS0"}})"},
                  {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})"}}),
        "");
}

TEST(HomeFindings, aConfigurationFileThatDoesNotConvertLeavesTheBusClosedWhicheverWasMeant) {
    EXPECT_EQ(findings({{"serial", R"({"data":{"baudRate":"9600"}})"},
                        {"attached", R"({"data":[{"configId":"m","slaveAddress":0},
{"configId":"m","slaveAddress":255},
{"configId":"m","slaveAddress":300}]})"},
                        {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5",)"}}),
              R"(error address-out-of-range attached:3:32 /data/2/slaveAddress
  The Modbus library refuses the address 300.
  Give it the address that is set at the meter, 1 to 247.
warning unknown-name serial:1:21 /data/baudRate
  The daemon doesn't know the name "9600" and takes "none" instead, its value 0: on a serial line all reads fail.
  Did you mean "baud9600"?
error does-not-convert config:1:51
  A daemon that starts with this file opens no bus, and all reads fail until it is mended and the daemon starts again or gets other serial parameters: Failed to parse json. unexpected end of data condition:object vx/json.cpp:33
  Make it JSON.
)");
    EXPECT_EQ(
        findings({{"serial", R"({"data":{"baudRate":"baud9600"}})"},
                  {"config", R"({"modbusMiscConfig":{"modbusTCPServer":5,"port":3000000000}})"}}),
        R"(error does-not-convert config:1:40 /modbusMiscConfig/modbusTCPServer
  A daemon that starts with this file opens no bus, and all reads fail until it is mended and the daemon starts again or gets other serial parameters: Expecting json string type:3 condition:type == json_type_string vx/record.h:176 / modbusTCPServer / modbusMiscConfig
  Give it a text.
error does-not-convert config:1:49 /modbusMiscConfig/port
  The daemon would stop at this value too: Narrowing error. t:-1294967296 u:3000000000 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:146 / port / modbusMiscConfig
  Give it a whole number from -2147483648 to 2147483647.
)");
}

TEST(HomeFindings, aServerThatCanNotBeReachedAndANegativeTimeOutAreTold) {
    EXPECT_EQ(
        findings(
            {{"config",
              R"({"modbusMiscConfig":{"modbusTCPServer":"gateway","timeoutResponseSec":-1}})"},
             {"attached",
              R"({"data":[{"configId":"m","slaveAddress":0},{"configId":"m","slaveAddress":255}]})"}}),
        R"(hint broadcast-address attached:1:41 /data/0/slaveAddress
  The daemon asks unit 0, which not every device or gateway answers.
  Give it the address that is set at the meter, 1 to 247.
hint device-address attached:1:75 /data/1/slaveAddress
  The daemon asks unit 255, which a device on the network answers, but no meter behind a gateway.
  Keep it for such a device; else give it the address that is set at the meter, 1 to 247.
error no-port config:1:21 /modbusMiscConfig/port
  The daemon gets no connection to port 0 and knows no other one.
  Give the port of the server, 1 to 65535; that of Modbus is 502.
error server-not-an-address config:1:40 /modbusMiscConfig/modbusTCPServer
  The daemon looks up no names, so it gets no connection to "gateway".
  Give the IPv4 address of the server.
error negative-time-out config:1:71 /modbusMiscConfig/timeoutResponseSec
  A 64-bit daemon stands still at the first answer that doesn't come, and of a 32-bit one every read fails.
  Give a number of seconds, or leave it out for 5.
)");
}

TEST(HomeFindings, aPortOutsideOf1To65535IsTheOneOfItsLow16Bits) {
    const auto ofPort = [](const std::string& port) {
        return findings({{"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":)" +
                                        port + "}}"}});
    };
    for (const auto& [port, real] : {std::pair("66038", "502"), std::pair("-1", "65535")})
        EXPECT_EQ(ofPort(port),
                  std::string(R"(warning port-out-of-range config:1:58 /modbusMiscConfig/port
  The daemon takes the low 16 bits of )") +
                      port + " and connects to port " + real + R"(.
  Give the port of the server, 1 to 65535; that of Modbus is 502.
)");
    const std::string zero = R"(error port-out-of-range config:1:58 /modbusMiscConfig/port
  The daemon takes the low 16 bits of 65536 and gets no connection to port 0.
  Give the port of the server, 1 to 65535; that of Modbus is 502.
)";
    EXPECT_EQ(ofPort("65536"), zero);
    EXPECT_EQ(ofPort("65536.5"), R"(warning number-misread config:1:58 /modbusMiscConfig/port
  The daemon takes 65536 for 65536.5.
  Write a whole number in decimal.
)" + zero);
}

TEST(HomeFindings, anAddressOfMoreThan15CharactersIsTold) {
    EXPECT_EQ(
        findings({{"config",
                   R"({"modbusMiscConfig":{"modbusTCPServer":"0000000010.0.0.5","port":502}})"}}),
        R"(error server-not-an-address config:1:40 /modbusMiscConfig/modbusTCPServer
  The Modbus library takes no text of more than 15 characters, so the daemon gets no connection to "0000000010.0.0.5".
  Give the IPv4 address of the server.
)");
}

TEST(HomeFindings, aServerWithoutAnySerialParameterIsToldOverTcpToo) {
    EXPECT_EQ(
        findings({{"serial", R"({"data":{}})"},
                  {"config", R"({"modbusMiscConfig":{"modbusTCPServer":"10.0.0.5","port":502}})"}}),
        R"(error bus-stays-closed serial:1:9 /data
  Without any serial parameter the daemon opens no bus, not even over TCP, and all reads fail.
  Give it one, such as "baudRate": "baud9600".
)");
}
