#include "modbus/meter-read.h"
#include "support/channel-severity.h"
#include "support/lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <mutex>

using house::Fault;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

namespace {

using T = ModbusDataType;
using F = ModbusFieldType;

} // namespace

TEST_F(MeterRead, serialOfTheAttachedListIsTakenWithoutAskingTheMeter) {
    bus->unit(7).holding(1, {0x4142}).input(30001, {0x0000, 0x05DC});
    attach(7, "40000123");

    read(7, {reg(1, F::serial, T::ascii),
             reg(30001, F::powerImport, T::uint32, 1, ModbusRegisterType::input)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read input 30001 x2
<< 0000 05DC
=  {"id":"40000123","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","powerConsumed":1500.0}
)");
}

TEST_F(MeterRead, serialOfTheAttachedListCountsOnlyAtASerialRegister) {
    bus->unit(7).holding(10, {5});
    attach(7, "40000123");

    read(7, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(MeterRead, serialOfAnAddressThatDiffersAboveItsLowBitsIsNotTaken) {
    bus->unit(7).holding(1, {0x4142});
    attach(7 + 256, "another");

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 1 x1
<< 4142
=  {"id":"AB","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, serialRegisterIsReadWhileTheAttachedListGivesNone) {
    bus->unit(7).holding(1, {0x4142, 0x4300});
    attach(7, "");
    attach(8, "another");

    read(7, {reg(1, F::serial, T::ascii, 2)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 1 x2
<< 4142 4300
=  {"id":"ABC","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, firstAttachedMeterWithASerialWins) {
    attach(7, "");
    attach(7, "first");
    attach(7, "second");

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(transcript(),
              R"(=  {"id":"first","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, anEarlierSerialRegisterEndsLaterOnes) {
    bus->unit(7).holding(1, {0, 42}).holding(5, {0x4142});

    read(7, {reg(1, F::serial, T::uint32), reg(5, F::serial, T::ascii)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 1 x2
<< 0000 002A
=  {"id":"42","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, aSerialOfZerosLetsTheNextSerialRegisterBeRead) {
    bus->unit(7).holding(1, {0}).holding(5, {0x4142});

    read(7, {reg(1, F::serial, T::ascii), reg(5, F::serial, T::ascii)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 1 x1
<< 0000
>> unit 7  read holding 5 x1
<< 4142
=  {"id":"AB","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, aMeterWithoutASerialSendsNothingAndSaysNothingOfIt) {
    bus->unit(7).holding(10, {5});

    read(7, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(kept(7).powerConsumed, 5.0);
    EXPECT_THAT(
        log(),
        ElementsAre(R"(notice modbusSerial Reading meter slaveAddress:7 meterConfig.registers:[)"
                    R"({"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,)"
                    R"("scaleValue":1,"registerType":holding}] toolkit.cpp:<line>)",
                    "notice modbusSerial Reading meter now slaveAddress:7 toolkit.cpp:<line>",
                    "notice modbusSerial value:5 modbusFieldType:powerImport scaleValue:1 "
                    "toolkit.cpp:<line>",
                    R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                    R"("meteringType":modbus,"lastChanged":<time>,"powerConsumed":5} )"
                    R"(toolkit.cpp:<line>)"));
    EXPECT_EQ(transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(MeterRead, aFailedSerialRegisterSendsNothing) {
    bus->unit(7).failAlways(Fault::exception(4));

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(log().back(), R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                            R"("meteringType":modbus,"lastChanged":<time>} toolkit.cpp:<line>)");
    EXPECT_EQ(conversation(), ">> unit 7  read holding 1 x1\n<< exception 4\n");
    EXPECT_EQ(transcript(), "");
}

TEST_F(MeterRead, onlyInputRegistersAreReadFromTheInputSpace) {
    bus->unit(7).input(10, {1}).holding(10, {2});

    for (const auto space :
         {ModbusRegisterType::input, ModbusRegisterType::holding, ModbusRegisterType::none})
        read(7, {reg(10, F::powerImport, T::uint16, 1, space)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read input 10 x1
<< 0001
>> unit 7  read holding 10 x1
<< 0002
>> unit 7  read holding 10 x1
<< 0002
)");
}

TEST_F(MeterRead, countIsLengthTimesTheWordsOfTheType) {
    bus->unit(7).holding(0, house::Words(16, 0));

    read(7, {reg(0, F::none, T::uint16, 3), reg(0, F::none, T::float32, 2),
             reg(0, F::none, T::uint64, 2), reg(0, F::none, T::dateTime, 1)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 0 x3
<< 0000 0000 0000
>> unit 7  read holding 0 x4
<< 0000 0000 0000 0000
>> unit 7  read holding 0 x8
<< 0000 0000 0000 0000 0000 0000 0000 0000
>> unit 7  read holding 0 x2
<< 0000 0000
)");
}

TEST_F(MeterRead, aCountAbove125WordsFailsWithoutATouchOfTheBus) {
    attach(7, "S");

    read(7, {reg(1, F::serial, T::ascii), reg(0, F::energyImport, T::int64, 32)});

    EXPECT_EQ(
        transcript(),
        R"(!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345694 aRegister:{"fieldType":energyImport,"modbusDataType":int64,"length":32,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
=  {"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, aCountGoesToTheLibraryWholeAndMayBeZero) {
    bus->unit(7).holding(0, {1});

    read(7, {reg(0, F::energyImport, T::int64, 64), reg(0, F::energyImport, T::uint16, 0)});

    EXPECT_THAT(steps(), ElementsAre("set_slave 7", "usleep 20000", "read_registers 0 x256",
                                     "set_slave 7", "usleep 20000", "read_registers 0 x0"));
    EXPECT_EQ(
        transcript(),
        R"(!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345694 aRegister:{"fieldType":energyImport,"modbusDataType":int64,"length":64,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
>> unit 7  read holding 0 x0
<< exception 3
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345681 aRegister:{"fieldType":energyImport,"modbusDataType":uint16,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
)");
}

TEST_F(MeterRead, noMeterIsGivenUpOn) {
    bus->unit(7).failAlways(Fault::exception(4));

    read(7, std::vector<ModbusRegister>(20, reg(10, F::powerImport, T::uint16)));

    std::string allAsked;
    for (int i = 0; i < 20; ++i)
        allAsked += ">> unit 7  read holding 10 x1\n<< exception 4\n";
    EXPECT_EQ(conversation(), allAsked);
    EXPECT_THAT(complaints(), SizeIs(20));
}

TEST_F(MeterRead, aFailedRegisterIsNotRetriedAndTheNextOneIsRead) {
    bus->unit(7).holding(10, {1}).holding(20, {2}).failNext(10, Fault::exception(6));

    read(7, {reg(10, F::powerImport, T::uint16), reg(20, F::powerExport, T::uint16)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 10 x1
<< exception 6
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345684 aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
>> unit 7  read holding 20 x1
<< 0002
)");
}

TEST_F(MeterRead, aSilentRegisterCostsTheResponseTimeOutAndOneWarningAndIsNotAskedAgain) {
    bus->unit(7).holding(10, {1}).failNext(10, Fault::silence);
    const auto begin = std::chrono::steady_clock::now();

    read(7, {reg(10, F::powerImport, T::uint16)});

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(990));
    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 10 x1
<< silence
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Connection timed out aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
)");
    EXPECT_EQ(kept(7).powerConsumed, 0.0);
}

TEST_F(MeterRead, anAnswerThatComesTooLateFailsTheNextRequestToo) {
    bus->unit(7).holding(10, {1}).holding(20, {2}).failNext(
        10, Fault::late(std::chrono::milliseconds(1300)));

    read(7, {reg(10, F::powerImport, T::uint16), reg(20, F::energyImport, T::uint16)});

    EXPECT_THAT(complaints(), ElementsAre(HasSubstr(":Connection timed out aRegister:"),
                                          HasSubstr(":Unknown error 112345691 aRegister:")));
}

TEST_F(MeterRead, aRunOfFailuresNeitherFlushesNorReconnectsTheBus) {
    const std::vector<ModbusRegister> registers = {
        reg(10, F::powerImport, T::uint16),
        reg(30001, F::energyImport, T::uint32, 1, ModbusRegisterType::input)};
    bus->unit(7).holding(10, {1}).input(30001, {0, 2});
    read(7, registers);
    const std::vector<std::string> stepsOfAPoll = steps();
    forget();
    bus->dropConnections();

    std::vector<std::string> failures;
    for (int poll = 0; poll < 10; ++poll) {
        read(7, registers);

        failures = complaints();
        EXPECT_THAT(failures, SizeIs(2));
        EXPECT_EQ(steps(), stepsOfAPoll);
        EXPECT_EQ(transcript(), "");
    }
    EXPECT_THAT(failures.back(), HasSubstr(":Broken pipe aRegister:"));
}

TEST_F(MeterRead, aReadThatTellsFewerWordsThanItsCountIsASuccess) {
    bus->unit(7).holding(10, {0, 5});
    const auto telling = modbus_calls::read_registers.replaceBy(
        [](modbus_t* context, int address, int count, std::uint16_t* words) {
            return std::min(modbus_calls::read_registers.real(context, address, count, words), 1);
        });

    read(7, {reg(10, F::powerImport, T::uint32)});

    EXPECT_EQ(kept(7).powerConsumed, 5.0);
}

TEST_F(MeterRead, tariffEnabledOfTheAttachedMeterIsNotConsulted) {
    attach(7, "S");
    reader.connection.m_attachedMeters.back().tariffEnabled = true;

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_FALSE(kept(7).tariffEnabled);
}

TEST_F(MeterRead, laterRegisterOfTheSameFieldWins) {
    bus->unit(7).holding(10, {1}).holding(20, {2});

    read(7, {reg(10, F::energyImport, T::uint16), reg(20, F::energyImport, T::uint16)});

    EXPECT_EQ(kept(7).energyConsumed, 2 * 3600000.0);
}

TEST_F(MeterRead, theWholeSlaveAddressGoesToTheLibraryWhichRefusesIt) {
    bus->unit(8).holding(10, {1});
    read(8, {reg(10, F::powerImport, T::uint16)});
    forget();

    // The library keeps the address of the last good call when it refuses one.
    read(7 + 256, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(conversation(), ">> unit 8  read holding 10 x1\n<< 0001\n");
}

TEST_F(MeterRead, aFirstSlaveAddressThatTheLibraryRefusesReadsUnit255OverTcp) {
    bus->unit(255).holding(10, {1});

    read(7 + 256, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(conversation(), ">> unit 255  read holding 10 x1\n<< 0001\n");
}

TEST_F(MeterRead, aModelWithoutRegistersYieldsARecordWithZerosAndSendsNothing) {
    read(7, {});

    EXPECT_EQ(log().back(), R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                            R"("meteringType":modbus,"lastChanged":<time>} toolkit.cpp:<line>)");
    EXPECT_EQ(withoutTime(vx::str(kept(7))),
              R"({"slaveAddress":7,"meteringType":modbus,"lastChanged":<time>})");
    EXPECT_EQ(transcript(), "");
}

TEST_F(MeterRead, lastChangedIsTheMomentBeforeAnyBusTraffic) {
    std::mutex mutex;
    std::vector<std::chrono::system_clock::time_point> answers;
    bus->unit(7).holding(10, {1}).holding(20, {2});
    bus->beforeAnswer([&] {
        const std::scoped_lock lock(mutex);
        answers.push_back(std::chrono::system_clock::now());
    });
    const auto begin = std::chrono::system_clock::now();

    read(7, {reg(10, F::powerImport, T::uint16), reg(20, F::powerExport, T::uint16)});

    const std::scoped_lock lock(mutex);
    ASSERT_EQ(answers.size(), 2);
    EXPECT_GE(kept(7).lastChanged, begin);
    EXPECT_LE(kept(7).lastChanged, answers.front());
}

TEST_F(MeterRead, setsTheSlaveAndPausesTwentyMillisecondsBeforeEveryRequest) {
    bus->unit(7).holding(10, {1}).input(30001, {0, 2});

    read(7, {reg(10, F::powerImport, T::uint16),
             reg(30001, F::powerImport, T::uint32, 1, ModbusRegisterType::input)});

    EXPECT_THAT(steps(),
                ElementsAre("set_slave 7", "usleep 20000", "read_registers 10 x1", "set_slave 7",
                            "usleep 20000", "read_input_registers 30001 x2"));
}

TEST_F(MeterRead, logsItsStepsInOrder) {
    bus->unit(7).holding(10, {5, 6});
    attach(7, "S");
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);

    read(7, {reg(1, F::serial, T::ascii), reg(10, F::energyImport, T::uint16)});

    std::string words = " 5";
    for (int i = 1; i < 255; ++i)
        words += " 0";
    const std::string serial = R"({"address":1,"fieldType":serial,"modbusDataType":ascii,)"
                               R"("length":1,"scaleValue":1,"registerType":holding})";
    const std::string energy = R"({"address":10,"fieldType":energyImport,"modbusDataType":uint16,)"
                               R"("length":1,"scaleValue":1,"registerType":holding})";
    const std::string params = "debug modbusSerial Reading register params aRegister.address:";
    const std::string count =
        " aRegister.length * dataCountMultiplier(aRegister.modbusDataType):1 toolkit.cpp:<line>";
    EXPECT_THAT(
        log("modbusSerial"),
        ElementsAre(
            "notice modbusSerial Reading meter slaveAddress:7 meterConfig.registers:[" + serial +
                "," + energy + "] toolkit.cpp:<line>",
            "notice modbusSerial Reading meter now slaveAddress:7 toolkit.cpp:<line>",
            "debug modbusSerial Reading register aRegister:" + serial + " toolkit.cpp:<line>",
            params + "1" + count,
            "debug modbusSerial Reading register aRegister:" + energy + " toolkit.cpp:<line>",
            params + "10" + count,
            "debug modbusSerial ARRAY debug:" + words + " toolkit.cpp:<line>",
            "notice modbusSerial value:5 modbusFieldType:energyImport scaleValue:1 "
            "toolkit.cpp:<line>",
            "debug modbusSerial scaleValue:1 value:5 toolkit.cpp:<line>",
            R"(notice modbusSerial Reading aReading:{"id":S,"slaveAddress":7,)"
            R"("meteringType":modbus,"lastChanged":<time>,"energyConsumed":1.8e+07} )"
            R"(toolkit.cpp:<line>)"));
}

TEST_F(MeterRead, theBufferIsZeroedBeforeEachRegister) {
    const auto storingOneWordOfTheSecond = modbus_calls::read_registers.replaceBy(
        [](modbus_t*, int address, int count, std::uint16_t* words) {
            std::fill_n(words, address == 10 ? count : 1, std::uint16_t{1});
            return count;
        });

    read(7, {reg(10, F::none, T::uint32), reg(20, F::powerImport, T::uint32)});

    EXPECT_EQ(kept(7).powerConsumed, 65536.0);
}

TEST_F(MeterReadWithoutAConnection, everyRegisterFailsAndTheRecordIsSentIfTheIdIsKnown) {
    attach(7, "S");

    read(7, {reg(1, F::serial, T::ascii), reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(
        transcript(),
        R"(!! warning modbusSerial Could not read register strerror((*__errno_location ())):Invalid argument aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
=  {"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}
