#include "modbus/meter-read.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>

using house::Fault;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vxModel::ElectricityMeterConfig;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusMeter;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

namespace {

using T = ModbusDataType;
using F = ModbusFieldType;

} // namespace

TEST_F(MeterRead, serialOfTheAttachedListIsTakenWithoutAskingTheMeter) {
    slave.unit(7).holding(1, {0x4142}).input(30001, {0x0000, 0x05DC});
    attach(7, "40000123");

    read(7, {reg(1, F::serial, T::ascii),
             reg(30001, F::powerImport, T::uint32, 1, ModbusRegisterType::input)});

    EXPECT_EQ(transcript(1), R"(>> unit 7  read input 30001 x2
<< 0000 05DC
=  {"id":"40000123","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","powerConsumed":1500.0}
)");
}

TEST_F(MeterRead, serialOfTheAttachedListCountsOnlyAtASerialRegister) {
    slave.unit(7).holding(10, {5});
    attach(7, "40000123");

    read(7, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(transcript(0), ">> unit 7  read holding 10 x1\n<< 0005\n");
    EXPECT_TRUE(kept(7).id.empty());
    EXPECT_THAT(linesWith("modbusreaderSocketWriter"), IsEmpty());
}

TEST_F(MeterRead, serialOfAnAddressThatDiffersAboveItsLowBitsIsNotTaken) {
    slave.unit(7).holding(1, {0x4142});
    attach(7 + 256, "another");

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(kept(7).id.text(), "AB");
}

TEST_F(MeterRead, serialRegisterIsReadWhileTheAttachedListGivesNone) {
    slave.unit(7).holding(1, {0x4142, 0x4300});
    attach(7, "");
    attach(8, "another");

    read(7, {reg(1, F::serial, T::ascii, 2)});

    EXPECT_EQ(transcript(1), R"(>> unit 7  read holding 1 x2
<< 4142 4300
=  {"id":"ABC","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, firstAttachedMeterWithASerialWins) {
    attach(7, "");
    attach(7, "first");
    attach(7, "second");

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(transcript(1),
              R"(=  {"id":"first","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, anEarlierSerialRegisterEndsLaterOnes) {
    slave.unit(7).holding(1, {0, 42}).holding(5, {0x4142});

    read(7, {reg(1, F::serial, T::uint32), reg(5, F::serial, T::ascii)});

    EXPECT_EQ(transcript(1), R"(>> unit 7  read holding 1 x2
<< 0000 002A
=  {"id":"42","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, aSerialOfZerosLetsTheNextSerialRegisterBeRead) {
    slave.unit(7).holding(1, {0}).holding(5, {0x4142});

    read(7, {reg(1, F::serial, T::ascii), reg(5, F::serial, T::ascii)});

    EXPECT_EQ(transcript(1), R"(>> unit 7  read holding 1 x1
<< 0000
>> unit 7  read holding 5 x1
<< 4142
=  {"id":"AB","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, aMeterWithoutASerialSendsNothingAndSaysNothingOfIt) {
    slave.unit(7).holding(10, {5});

    read(7, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(transcript(0), R"(>> unit 7  read holding 10 x1
<< 0005
)");
    EXPECT_EQ(kept(7).powerConsumed, 5.0);
    EXPECT_THAT(
        lines(),
        ElementsAre(R"(notice modbusSerial Reading meter slaveAddress:7 meterConfig.registers:[)"
                    R"({"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,)"
                    R"("scaleValue":1,"registerType":holding}] toolkit.cpp:<line>)",
                    "notice modbusSerial Reading meter now slaveAddress:7 toolkit.cpp:<line>",
                    "notice modbusSerial value:5 modbusFieldType:powerImport scaleValue:1 "
                    "toolkit.cpp:<line>",
                    R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                    R"("meteringType":modbus,"lastChanged":<time>,"powerConsumed":5} )"
                    R"(toolkit.cpp:<line>)"));
}

TEST_F(MeterRead, aFailedSerialRegisterSendsNothing) {
    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(transcript(0), R"(>> unit 7  read holding 1 x1
<< silence
)");
    EXPECT_EQ(lines().back(), R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                              R"("meteringType":modbus,"lastChanged":<time>} toolkit.cpp:<line>)");
}

TEST_F(MeterRead, onlyInputRegistersAreReadFromTheInputSpace) {
    slave.unit(7).input(10, {1}).holding(10, {2});

    for (const auto space :
         {ModbusRegisterType::input, ModbusRegisterType::holding, ModbusRegisterType::none})
        read(7, {reg(10, F::powerImport, T::uint16, 1, space)});

    EXPECT_EQ(transcript(0), R"(>> unit 7  read input 10 x1
<< 0001
>> unit 7  read holding 10 x1
<< 0002
>> unit 7  read holding 10 x1
<< 0002
)");
}

TEST_F(MeterRead, countIsLengthTimesTheWordsOfTheType) {
    slave.unit(7).holding(0, house::Words(16, 0));

    read(7, {reg(0, F::none, T::uint16, 3), reg(0, F::none, T::float32, 2),
             reg(0, F::none, T::uint64, 2), reg(0, F::none, T::dateTime, 1)});

    EXPECT_EQ(transcript(0), R"(>> unit 7  read holding 0 x3
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

    EXPECT_EQ(transcript(1),
              R"(=  {"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
    EXPECT_THAT(log.takeFrom("modbusSerial"),
                testing::Contains(
                    "warning modbusSerial Could not read register strerror((*__errno_location "
                    "())):Unknown error 112345694 aRegister:{\"fieldType\":energyImport,"
                    "\"modbusDataType\":int64,\"length\":32,\"scaleValue\":1,"
                    "\"registerType\":holding} toolkit.cpp:<line>"));
}

TEST_F(MeterRead, aCountGoesToTheLibraryWholeAndMayBeZero) {
    read(7, {reg(0, F::energyImport, T::int64, 64), reg(0, F::energyImport, T::uint16, 0)});

    EXPECT_THAT(recorded_bus::take(),
                ElementsAre("modbus_set_slave 7", "usleep 0", "modbus_read_registers 0 x256",
                            "modbus_set_slave 7", "usleep 0", "modbus_read_registers 0 x0"));
    EXPECT_THAT(
        linesWith("Could not read register"),
        ElementsAre(HasSubstr(":Unknown error 112345694 aRegister:"), HasSubstr("aRegister:")));
}

TEST_F(MeterRead, noMeterIsGivenUpOn) {
    slave.unit(7).failAlways(Fault::exception(4));
    const std::vector<ModbusRegister> registers(20, reg(10, F::powerImport, T::uint16));

    read(7, registers);

    std::string conversation;
    for (std::size_t i = 0; i < registers.size(); ++i)
        conversation += ">> unit 7  read holding 10 x1\n<< exception 4\n";
    EXPECT_EQ(slave.transcript(), conversation);
}

TEST_F(MeterRead, aFailedRegisterIsNotRetriedAndTheNextOneIsRead) {
    slave.unit(7).holding(10, {1}).holding(20, {2}).failNext(10, Fault::exception(6));

    read(7, {reg(10, F::powerImport, T::uint16), reg(20, F::powerExport, T::uint16)});

    EXPECT_EQ(transcript(0), R"(>> unit 7  read holding 10 x1
<< exception 6
>> unit 7  read holding 20 x1
<< 0002
)");
}

TEST_F(MeterRead, aSilentRegisterCostsTheResponseTimeOutAndOneWarningAndIsNotAskedAgain) {
    slave.unit(7).holding(10, {1}).failNext(10, Fault::silence);
    const auto begin = std::chrono::steady_clock::now();

    read(7, {reg(10, F::powerImport, T::uint16)});

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(990));
    EXPECT_THAT(
        linesWith("warning"),
        ElementsAre("warning modbusSerial Could not read register strerror((*__errno_location "
                    "())):Connection timed out aRegister:{\"address\":10,\"fieldType\":powerImport,"
                    "\"modbusDataType\":uint16,\"length\":1,\"scaleValue\":1,"
                    "\"registerType\":holding} toolkit.cpp:<line>"));
    EXPECT_EQ(transcript(0), ">> unit 7  read holding 10 x1\n<< silence\n");
    EXPECT_EQ(kept(7).powerConsumed, 0.0);
}

TEST_F(MeterRead, anAnswerThatComesTooLateFailsTheNextRequestToo) {
    slave.unit(7).holding(10, {1}).holding(20, {2}).failNext(
        10, Fault::late(std::chrono::milliseconds(1300)));

    read(7, {reg(10, F::powerImport, T::uint16), reg(20, F::energyImport, T::uint16)});

    EXPECT_THAT(linesWith("Could not read register"),
                ElementsAre(HasSubstr(":Connection timed out aRegister:"),
                            HasSubstr(":Unknown error 112345691 aRegister:")));
}

TEST_F(MeterRead, aRunOfFailuresNeitherFlushesNorReconnectsTheBus) {
    constexpr int polls = 10;
    const std::vector<ModbusRegister> registers = {
        reg(10, F::powerImport, T::uint16),
        reg(30001, F::energyImport, T::uint32, 1, ModbusRegisterType::input)};
    slave.unit(7).holding(10, {1}).input(30001, {0, 2});
    read(7, registers);
    ASSERT_THAT(linesWith("Could not read register"), IsEmpty());
    recorded_bus::take();
    slave.dropConnections();

    for (int poll = 0; poll < polls; ++poll)
        read(7, registers);

    std::vector<std::string> calls;
    for (int poll = 0; poll < polls; ++poll)
        calls.insert(calls.end(),
                     {"modbus_set_slave 7", "usleep 0", "modbus_read_registers 10 x1",
                      "modbus_set_slave 7", "usleep 0", "modbus_read_input_registers 30001 x2"});
    EXPECT_EQ(recorded_bus::take(), calls);
    const auto failures = linesWith("Could not read register");
    EXPECT_EQ(failures.size(), 2 * polls);
    EXPECT_THAT(failures.back(), HasSubstr(":Broken pipe aRegister:"));
}

TEST_F(MeterRead, aReadThatTellsFewerWordsThanItsCountIsASuccess) {
    slave.unit(7).holding(10, {0, 5});
    recorded_bus::letReadsTell(1);

    read(7, {reg(10, F::powerImport, T::uint32)});

    EXPECT_EQ(kept(7).powerConsumed, 5.0);
    for (const std::string& line : log.take())
        EXPECT_EQ(line.find("Could not read register"), std::string::npos) << line;
}

TEST_F(MeterRead, tariffEnabledOfTheAttachedMeterIsNotConsulted) {
    attach(7, "S");
    reader.connection.m_attachedMeters.back().tariffEnabled = true;

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_FALSE(kept(7).tariffEnabled);
}

TEST_F(MeterRead, laterRegisterOfTheSameFieldWins) {
    slave.unit(7).holding(10, {1}).holding(20, {2});

    read(7, {reg(10, F::energyImport, T::uint16), reg(20, F::energyImport, T::uint16)});

    EXPECT_EQ(kept(7).energyConsumed, 2 * 3600000.0);
}

TEST_F(MeterRead, theWholeSlaveAddressGoesToTheLibraryWhichRefusesIt) {
    slave.unit(8).holding(10, {1});
    read(8, {reg(10, F::powerImport, T::uint16)});
    slave.clearTranscript();

    // The library keeps the address of the last good call when it refuses one.
    read(7 + 256, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(slave.transcript(), ">> unit 8  read holding 10 x1\n<< 0001\n");
}

TEST_F(MeterRead, aFirstSlaveAddressThatTheLibraryRefusesReadsUnit255OverTcp) {
    slave.unit(255).holding(10, {1});

    read(7 + 256, {reg(10, F::powerImport, T::uint16)});

    EXPECT_EQ(slave.transcript(), ">> unit 255  read holding 10 x1\n<< 0001\n");
}

TEST_F(MeterRead, aModelWithoutRegistersYieldsARecordWithZerosAndSendsNothing) {
    read(7, {});

    EXPECT_EQ(transcript(0), "");
    EXPECT_EQ(kept(7), emptyRecord(7, kept(7).lastChanged));
    EXPECT_EQ(lines().back(), R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                              R"("meteringType":modbus,"lastChanged":<time>} toolkit.cpp:<line>)");
}

TEST_F(MeterRead, lastChangedIsTheMomentBeforeAnyBusTraffic) {
    std::mutex mutex;
    std::vector<std::chrono::system_clock::time_point> answers;
    house::ModbusSlave watched{house::TcpPort{}};
    watched.unit(7).holding(10, {1}).holding(20, {2});
    watched.beforeAnswer([&] {
        const std::scoped_lock lock(mutex);
        answers.push_back(std::chrono::system_clock::now());
    });
    useTcp(watched);
    reader.connection.doReconnect();
    const auto begin = std::chrono::system_clock::now();

    read(7, {reg(10, F::powerImport, T::uint16), reg(20, F::powerExport, T::uint16)});

    const std::scoped_lock lock(mutex);
    ASSERT_EQ(answers.size(), 2);
    EXPECT_GE(kept(7).lastChanged, begin);
    EXPECT_LE(kept(7).lastChanged, answers.front());
}

TEST_F(MeterRead, setsTheSlaveAndPausesTwentyMillisecondsBeforeEveryRequest) {
    slave.unit(7).holding(10, {1}).input(30001, {0, 2});
    reader.connection.m_readIntervalUSec = Reader().connection.m_readIntervalUSec;

    read(7, {reg(10, F::powerImport, T::uint16),
             reg(30001, F::powerImport, T::uint32, 1, ModbusRegisterType::input)});

    EXPECT_THAT(recorded_bus::take(),
                ElementsAre("modbus_set_slave 7", "usleep 20000", "modbus_read_registers 10 x1",
                            "modbus_set_slave 7", "usleep 20000",
                            "modbus_read_input_registers 30001 x2"));
}

TEST_F(MeterRead, logsItsStepsInOrder) {
    slave.unit(7).holding(10, {5, 6});
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
    auto lines = log.takeFrom("modbusSerial");
    for (std::string& line : lines)
        line = withoutTime(line);
    EXPECT_THAT(
        lines,
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
            R"("meteringType":modbus,"lastChanged":)" +
                withoutTime(vx::str("lastChanged\":", "2026-01-01T00:00:00.000Z")).substr(13) +
                R"(,"energyConsumed":1.8e+07} toolkit.cpp:<line>)"));
}

TEST_F(MeterRead, theBufferIsZeroedBeforeEachRegister) {
    slave.unit(7).holding(10, {1, 65535, 3}).holding(20, {9});
    const ChannelSeverity debug("modbusSerial", vx::LogSeverity::debug);

    read(7, {reg(10, F::none, T::uint16, 3), reg(20, F::none, T::uint16)});

    std::vector<std::string> arrays;
    for (const std::string& line : log.takeFrom("modbusSerial"))
        if (line.find("ARRAY") != std::string::npos)
            arrays.push_back(line.substr(0, 45));
    EXPECT_THAT(arrays, ElementsAre("debug modbusSerial ARRAY debug: 1 65535 3 0 0",
                                    "debug modbusSerial ARRAY debug: 9 0 0 0 0 0 0"));
}

TEST(MeterReadWithoutAConnection, everyRegisterFailsAndTheRecordIsSentIfTheIdIsKnown) {
    LogCapture log(LogCapture::Mode::lenient);
    house::MeteringService service;
    Reader reader;
    ModbusMeter meter;
    meter.slaveAddress = 7;
    meter.serial = "S";
    reader.connection.m_attachedMeters = {meter};
    ElectricityMeterConfig config;
    config.registers = {reg(1, F::serial, T::ascii), reg(10, F::powerImport, T::uint16)};

    reader.connection.readMeter(7, config);
    reader.deliver();

    ASSERT_TRUE(service.waitForMessages(1));
    EXPECT_EQ(withoutTime(service.texts().front()),
              R"({"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"})");
    EXPECT_THAT(log.takeFrom("modbusSerial"),
                testing::Contains(
                    "warning modbusSerial Could not read register strerror((*__errno_location "
                    "())):Invalid argument aRegister:{\"address\":10,\"fieldType\":powerImport,"
                    "\"modbusDataType\":uint16,\"length\":1,\"scaleValue\":1,"
                    "\"registerType\":holding} toolkit.cpp:<line>"));
}
