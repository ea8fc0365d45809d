#include "modbus/meter-read.h"
#include "support/lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using house::Fault;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

namespace {

using T = ModbusDataType;
using F = ModbusFieldType;

std::string interpolating(const std::string& fieldType) {
    return "notice modbusSerial Interpolating field failedField:" + fieldType +
           " toolkit.cpp:<line>";
}

} // namespace

TEST_F(MeterRead, failedPowerImportRestoresBothPowerMembers) {
    bus->unit(7).holding(10, {100}).holding(20, {30});
    const std::vector<ModbusRegister> registers = {reg(10, F::powerImport, T::uint16),
                                                   reg(20, F::powerExport, T::uint16)};
    read(7, registers);
    bus->unit(7).holding(20, {77}).failNext(10, Fault::exception(4));
    forget();

    read(7, registers);

    // Also the export decoded in this very poll, as the copy comes after all decoding.
    EXPECT_EQ(kept(7).powerConsumed, 100.0);
    EXPECT_EQ(kept(7).powerProduced, 30.0);
    EXPECT_THAT(log("Interpolating"), ElementsAre(interpolating("powerImport")));
    EXPECT_THAT(complaints(), SizeIs(1));
}

TEST_F(MeterRead, failedPowerExportFallsToZeroAndLogsNoInterpolation) {
    bus->unit(7).holding(20, {30});
    read(7, {reg(20, F::powerExport, T::uint16)});
    bus->unit(7).failNext(20, Fault::exception(4));
    forget();

    read(7, {reg(20, F::powerExport, T::uint16)});

    EXPECT_EQ(kept(7).powerProduced, 0.0);
    EXPECT_THAT(log("Interpolating"), IsEmpty());
    EXPECT_THAT(complaints(), SizeIs(1));
}

TEST_F(MeterRead, failedPowerExportIsRestoredByAFailedPowerImportOfTheSamePoll) {
    bus->unit(7).holding(10, {100}).holding(20, {30});
    const std::vector<ModbusRegister> registers = {reg(20, F::powerExport, T::uint16),
                                                   reg(10, F::powerImport, T::uint16)};
    read(7, registers);
    bus->unit(7).failAlways(Fault::exception(4));

    read(7, registers);

    EXPECT_EQ(kept(7).powerProduced, 30.0);
    EXPECT_THAT(complaints(), SizeIs(2));
}

TEST_F(MeterRead, eachFailedEnergyKeepsItsOwnPreviousValue) {
    std::vector<ModbusRegister> registers;
    for (int fieldType = 3; fieldType <= 16; ++fieldType) {
        bus->unit(7).holding(fieldType, {static_cast<std::uint16_t>(fieldType)});
        registers.push_back(
            reg(static_cast<std::uint16_t>(fieldType), static_cast<F>(fieldType), T::uint16));
    }
    read(7, registers);
    const auto good = kept(7);
    bus->unit(7).failAlways(Fault::exception(4));
    forget();

    read(7, registers);

    EXPECT_GT(kept(7).lastChanged, good.lastChanged);
    auto expected = good;
    expected.lastChanged = kept(7).lastChanged;
    EXPECT_EQ(kept(7), expected);
    EXPECT_EQ(kept(7).t6EnergyProduced, 16 * 3600000.0);
    EXPECT_THAT(
        log("Interpolating"),
        ElementsAre(interpolating("energyImport"), interpolating("energyExport"),
                    interpolating("energyImportTariff1"), interpolating("energyImportTariff2"),
                    interpolating("energyImportTariff3"), interpolating("energyImportTariff4"),
                    interpolating("energyImportTariff5"), interpolating("energyImportTariff6"),
                    interpolating("energyExportTariff1"), interpolating("energyExportTariff2"),
                    interpolating("energyExportTariff3"), interpolating("energyExportTariff4"),
                    interpolating("energyExportTariff5"), interpolating("energyExportTariff6")));
    EXPECT_THAT(complaints(), SizeIs(14));
}

TEST_F(MeterRead, failedFieldsAreCarriedInRegisterOrderOncePerRegister) {
    bus->unit(7).holding(10, {5, 6, 7});
    const std::vector<ModbusRegister> registers = {reg(10, F::energyExport, T::uint16),
                                                   reg(11, F::energyImport, T::uint16),
                                                   reg(12, F::energyExport, T::uint16)};
    read(7, registers);
    bus->unit(7).failAlways(Fault::exception(4));
    forget();

    read(7, registers);

    EXPECT_THAT(log("Interpolating"),
                ElementsAre(interpolating("energyExport"), interpolating("energyImport"),
                            interpolating("energyExport")));
    EXPECT_THAT(complaints(), SizeIs(3));
}

TEST_F(MeterRead, theCarriedValueIsWhatIsSent) {
    bus->unit(7).holding(10, {5});
    attach(7, "S");
    const std::vector<ModbusRegister> registers = {reg(1, F::serial, T::ascii),
                                                   reg(10, F::energyImport, T::uint16)};
    read(7, registers);
    bus->unit(7).failNext(10, Fault::exception(4));

    read(7, registers);

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 10 x1
<< 0005
=  {"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","energyConsumed":18000000.0}
>> unit 7  read holding 10 x1
<< exception 4
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345682 aRegister:{"address":10,"fieldType":energyImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
=  {"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","energyConsumed":18000000.0}
)");
}

TEST_F(MeterRead, theRecordIsLoggedWithItsCarriedValue) {
    bus->unit(7).holding(10, {5});
    read(7, {reg(10, F::energyImport, T::uint16)});
    bus->unit(7).failNext(10, Fault::exception(4));
    forget();

    read(7, {reg(10, F::energyImport, T::uint16)});

    const std::string energy = R"({"address":10,"fieldType":energyImport,"modbusDataType":uint16,)"
                               R"("length":1,"scaleValue":1,"registerType":holding})";
    EXPECT_THAT(
        log(),
        ElementsAre("notice modbusSerial Reading meter slaveAddress:7 meterConfig.registers:[" +
                        energy + "] toolkit.cpp:<line>",
                    "notice modbusSerial Reading meter now slaveAddress:7 toolkit.cpp:<line>",
                    "warning modbusSerial Could not read register strerror((*__errno_location "
                    "())):Unknown error 112345682 aRegister:" +
                        energy + " toolkit.cpp:<line>",
                    interpolating("energyImport"),
                    R"(notice modbusSerial Reading aReading:{"slaveAddress":7,)"
                    R"("meteringType":modbus,"lastChanged":<time>,"energyConsumed":1.8e+07} )"
                    R"(toolkit.cpp:<line>)"));
}

TEST_F(MeterRead, carriedValuesGoOnBeingCarriedThroughAnyNumberOfFailingPolls) {
    bus->unit(7).holding(10, {5});
    read(7, {reg(10, F::energyImport, T::uint16)});
    bus->unit(7).failAlways(Fault::exception(4));

    for (int poll = 0; poll < 3; ++poll)
        read(7, {reg(10, F::energyImport, T::uint16)});

    EXPECT_EQ(kept(7).energyConsumed, 5 * 3600000.0);
    EXPECT_THAT(complaints(), SizeIs(3));
}

TEST_F(MeterRead, failedTariffEnabledFallsToFalse) {
    bus->unit(7).holding(10, {1});
    read(7, {reg(10, F::tariffEnabled, T::uint16)});
    EXPECT_TRUE(kept(7).tariffEnabled);
    bus->unit(7).failNext(10, Fault::exception(4));

    read(7, {reg(10, F::tariffEnabled, T::uint16)});

    EXPECT_FALSE(kept(7).tariffEnabled);
    EXPECT_THAT(complaints(), SizeIs(1));
}

TEST_F(MeterRead, failedFieldsThatAreNoQuantityCarryNothingAndLogNoInterpolation) {
    const std::vector<ModbusRegister> others = {
        reg(30, F::none, T::uint16),         reg(31, F::model, T::uint16),
        reg(32, F::manufacturer, T::uint16), reg(33, F::dateTime, T::uint16),
        reg(34, F::serial, T::ascii),        reg(35, F::tariffEnabled, T::uint16)};
    std::vector<ModbusRegister> all = others;
    for (std::uint16_t fieldType = 1; fieldType <= 16; ++fieldType)
        all.push_back(reg(fieldType, static_cast<F>(fieldType), T::uint16));
    bus->unit(7).holding(1, house::Words(16, 5)).holding(30, {1, 1, 1, 1, 0x4142, 1});
    read(7, all);
    EXPECT_EQ(kept(7).id.text(), "AB");
    EXPECT_TRUE(kept(7).tariffEnabled);
    bus->unit(7).failAlways(Fault::exception(4));
    forget();

    read(7, others);

    EXPECT_EQ(withoutTime(vx::str(kept(7))),
              R"({"slaveAddress":7,"meteringType":modbus,"lastChanged":<time>})");
    EXPECT_THAT(log("Interpolating"), IsEmpty());
    EXPECT_THAT(complaints(), SizeIs(6));
}

TEST_F(MeterRead, aFirstPollWithFailingRegistersLeavesZerosAndSendsTheRecord) {
    bus->unit(7).failAlways(Fault::exception(4));
    attach(7, "S");

    read(7, {reg(1, F::serial, T::ascii), reg(10, F::powerImport, T::uint16),
             reg(20, F::energyImport, T::uint32)});

    EXPECT_THAT(log("Interpolating"), IsEmpty());
    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 10 x1
<< exception 4
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345682 aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
>> unit 7  read holding 20 x2
<< exception 4
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345682 aRegister:{"address":20,"fieldType":energyImport,"modbusDataType":uint32,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
=  {"id":"S","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
)");
}

TEST_F(MeterRead, theIdIsNeverCarriedForward) {
    bus->unit(7).holding(1, {0x4142});
    read(7, {reg(1, F::serial, T::ascii)});
    bus->unit(7).failNext(1, Fault::exception(4));

    read(7, {reg(1, F::serial, T::ascii)});

    EXPECT_EQ(transcript(), R"(>> unit 7  read holding 1 x1
<< 4142
=  {"id":"AB","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"}
>> unit 7  read holding 1 x1
<< exception 4
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Unknown error 112345682 aRegister:{"address":1,"fieldType":serial,"modbusDataType":ascii,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
)");
}

TEST_F(MeterRead, addressesThatDifferAboveEightBitsShareOneRecord) {
    bus->unit(7).holding(10, {5});
    read(7, {reg(10, F::energyImport, T::uint16)});

    read(7 + 256, {reg(99, F::energyImport, T::uint16)});

    EXPECT_EQ(reader.connection.m_readings.size(), 1);
    EXPECT_EQ(kept(7).slaveAddress, 7);
    EXPECT_EQ(kept(7).energyConsumed, 5 * 3600000.0);
    EXPECT_THAT(complaints(), SizeIs(1));
}

TEST_F(MeterRead, twoMetersOnOneSlaveAddressShareTheirRecord) {
    bus->unit(7).holding(10, {5});
    read(7, {reg(10, F::energyImport, T::uint16)});
    bus->unit(7).failAlways(Fault::exception(4));

    read(7, {reg(99, F::energyImport, T::uint16)});

    EXPECT_EQ(kept(7).energyConsumed, 5 * 3600000.0);
    EXPECT_EQ(reader.connection.m_readings.size(), 1);
    EXPECT_THAT(complaints(), SizeIs(1));
}
