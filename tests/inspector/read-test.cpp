#include "meter-on-bus.h"

#include <gmock/gmock.h>

#include <csignal>
#include <regex>

using namespace inspector;
using house::Fault;
using namespace std::chrono_literals;
using testing::EndsWith;

using Read = MeterOnBus;
INSPECTOR_ON_BOTH_LINES(Read);

TEST_P(Read, tellsWordsValueAndMessageOfEachRegister) {
    const ProgramResult result = readMeter();

    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(withoutTimes(result.standardOutput), R"(Meter 7
  space  address  type  time  took  value under the map  words
  holding  0  ascii  MOMENT  TIME  id "S-1"  532D 3100
  input  10  uint16  MOMENT  TIME  powerConsumed 1250.0 W  04E2
  holding  20  uint32  MOMENT  TIME  energyConsumed 1800000.0 Ws  0000 0005
Record:  {"id":S-1,"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT,"powerConsumed":1250,"energyConsumed":1.8e+06}
Message: {"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT","powerConsumed":1250.0,"energyConsumed":1800000.0}
)");
    EXPECT_EQ(result.status, 0);
}

TEST_P(Read, tellsThatTheMeterKeepsSilent) {
    meter().failAlways(Fault::silence);

    const ProgramResult result = readMeter({"--time-out", "50"});

    EXPECT_EQ(withoutTimes(result.standardOutput), R"(Meter 7
  space  address  type  time  took  value under the map  words
  holding  0  ascii  MOMENT  TIME  no answer in time
  input  10  uint16  MOMENT  TIME  no answer in time
  holding  20  uint32  MOMENT  TIME  no answer in time
Record:  {"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT}
Message: none, as the serial of the meter isn't known
)");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Read, waitsAsLongAsTheConfigurationFileSays) {
    meter().failNext(10, Fault::silence);
    const std::string config =
        files.write("config.json", R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");

    const ProgramResult result = readMeter({"--config", config, "--json"});

    std::smatch wait;
    ASSERT_TRUE(std::regex_search(
        result.standardOutput, wait,
        std::regex(
            R"("address":10,.*?"milliseconds":([\d.]+),"words":\[\],"failure":"no answer)")));
    EXPECT_GE(std::stod(wait[1]), 1000);
    // As long as it would wait by itself.
    EXPECT_LT(std::stod(wait[1]), 5000);
}

TEST_P(Read, namesExceptionsInTheFieldsWords) {
    meter().failNext(10, Fault::exception(2)).failNext(20, Fault::exception(4));

    const ProgramResult result = readMeter();

    EXPECT_EQ(withoutTimes(result.standardOutput), R"(Meter 7
  space  address  type  time  took  value under the map  words
  holding  0  ascii  MOMENT  TIME  id "S-1"  532D 3100
  input  10  uint16  MOMENT  TIME  the meter does not know this address (exception 2)
  holding  20  uint32  MOMENT  TIME  the meter has failed (exception 4)
Record:  {"id":S-1,"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT}
Message: {"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT"}
)");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Read, tellsOfARefusedAddressWhatTheDaemonDoesThere) {
    const ProgramResult alone = runOnBus({"read", "--supported", map, "--slave", "250"});

    EXPECT_EQ(alone.standardError,
              std::string("modbus-inspector: The Modbus library refuses the address 250, so ") +
                  (isSerial() ? "all reads of this meter fail.\n"
                              : "the daemon asks unit 255 instead.\n"));
    EXPECT_THAT(withoutTimes(alone.standardOutput),
                testing::HasSubstr("MOMENT  TIME  the Modbus library refuses this address\n"));
    EXPECT_EQ(alone.status, 1);

    const std::string attached = files.write("attached", R"({"data":[
        {"configId":"em","slaveAddress":7},{"configId":"em","slaveAddress":263}]})");
    EXPECT_EQ(runOnBus({"read", "--supported", map, "--attached", attached}).standardError,
              "modbus-inspector: The Modbus library refuses the address 263, and the daemon reads "
              "the meter at /data/0 in its place, under that one's serial.\n");
    EXPECT_EQ(runOnBus({"read", "--supported", map, "--attached", attached, "--slave", "7"})
                  .standardError,
              "");
}

TEST_P(Read, takesTheValueOfThePollBeforeForAFailedReadAsTheDaemonDoes) {
    constexpr std::size_t registers = 3;
    bus().beforeAnswer([this] {
        if (bus().requestCount() == registers + 1)
            meter().failNext(20, Fault::exception(2));
    });

    const ProgramResult result = readMeter({"--polls", "2"});

    EXPECT_THAT(withoutTimes(result.standardOutput), EndsWith(R"(
  holding  20  uint32  MOMENT  TIME  the meter does not know this address (exception 2)
Record:  {"id":S-1,"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT,"powerConsumed":1250,"energyConsumed":1.8e+06}
Message: {"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT","powerConsumed":1250.0,"energyConsumed":1800000.0}
)"));
    EXPECT_EQ(result.status, 1);
}

TEST_P(Read, aLateAnswerIsNoneToTheNextRequestEither) {
    meter().failNext(0, Fault::late(400ms));

    const ProgramResult result = readMeter({"--time-out", "300"});

    EXPECT_THAT(withoutTimes(result.standardOutput), testing::StartsWith(R"(Meter 7
  space  address  type  time  took  value under the map  words
  holding  0  ascii  MOMENT  TIME  no answer in time
  input  10  uint16  MOMENT  TIME  the answer is no answer to this request
)"));
    EXPECT_EQ(result.status, 1);
}

TEST_P(Read, tellsWhatIsWrongWithGarbage) {
    meter().failNext(10, Fault::garbled);

    const ProgramResult result = readMeter({"--time-out", "50"});

    EXPECT_THAT(withoutTimes(result.standardOutput),
                testing::HasSubstr(isSerial()
                                       ? "input  10  uint16  MOMENT  TIME  the answer is garbled, "
                                         "its check sum is wrong\n"
                                       : "input  10  uint16  MOMENT  TIME  the answer is no answer "
                                         "to this request\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_P(Read, recordsTheWholeConversation) {
    meter().failNext(10, Fault::exception(2));
    const std::string file = files.path() / "conversation.json";

    readMeter({"--record", file});

    EXPECT_EQ(
        withoutTimes(std::regex_replace(contentOf(file), std::regex(R"("milliseconds":[\d.e-]+)"),
                                        R"("milliseconds":0)")),
        R"({"readings":[{"slaveAddress":7,"registers":[)"
        R"({"space":"holding","address":0,"dataType":"ascii","scale":1.0,"fieldType":"serial","read":true,"asked":2,"time":"MOMENT","milliseconds":0,"words":[21293,12544],"member":"id","value":"S-1","unit":""},)"
        R"json({"space":"input","address":10,"dataType":"uint16","scale":1.0,"fieldType":"powerImport","read":true,"asked":1,"time":"MOMENT","milliseconds":0,"words":[],"failure":"the meter does not know this address (exception 2)","exception":2},)json"
        R"({"space":"holding","address":20,"dataType":"uint32","scale":0.1,"fieldType":"energyImport","read":true,"asked":2,"time":"MOMENT","milliseconds":0,"words":[0,5],"member":"energyConsumed","value":1800000.0,"unit":"Ws"}],)"
        R"("record":{"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT","energyConsumed":1800000.0},)"
        R"("message":"{\"id\":\"S-1\",\"slaveAddress\":7,\"meteringType\":\"modbus\",\"lastChanged\":\"MOMENT\",\"energyConsumed\":1800000.0}"}]})"
        "\n");
}

TEST_P(Read, tellsTheRecordAsJsonThoughThereIsNoMessage) {
    meter().failNext(0, Fault::exception(2)).failNext(20, Fault::exception(2));

    const ProgramResult result = readMeter({"--json"});

    EXPECT_THAT(
        withoutTimes(result.standardOutput),
        EndsWith(
            R"json("failure":"the meter does not know this address (exception 2)","exception":2}],)json"
            R"("record":{"slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT","powerConsumed":1250.0},)"
            R"("message":null}]})"
            "\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_P(Read, leavesAnOlderRecordAsItIs) {
    const std::string file = files.write("conversation.json", "mine");

    const ProgramResult result = readMeter({"--record", file});

    EXPECT_EQ(result.standardError, "modbus-inspector: " + file + ": File exists\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(contentOf(file), "mine");
}

TEST_P(Read, aPartOfAReadingHasNoMessage) {
    meter().failNext(10, Fault::silence);
    const std::string file = files.path() / "conversation.json";
    Program program(onBus(
        {"read", "--supported", map, "--slave", "7", "--time-out", "3000", "--record", file}));
    ASSERT_TRUE(bus().waitForRequests(2));

    program.signal(SIGINT);

    EXPECT_EQ(withoutTimes(program.wait().standardOutput), R"(Meter 7
  space  address  type  time  took  value under the map  words
  holding  0  ascii  MOMENT  TIME  id "S-1"  532D 3100
  input  10  uint16  MOMENT  TIME  no answer in time
Record:  {"id":S-1,"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT}
Message: none, as the reading was ended
)");
    EXPECT_THAT(contentOf(file), EndsWith(R"("message":null,"ended":true}]})"
                                          "\n"));
}

TEST_P(Read, aSignalEndsItWithWhatIsKnown) {
    const std::string file = files.path() / "conversation.json";
    Program program(onBus({"read", "--supported", map, "--slave", "7", "--polls", "100000",
                           "--json", "--record", file}));
    ASSERT_TRUE(bus().waitForRequests(4));

    program.signal(SIGINT);

    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.standardOutput, EndsWith("}]}\n"));
    EXPECT_THAT(contentOf(file), EndsWith("}]}\n"));
}
