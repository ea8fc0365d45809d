#include "modbus/serial-toolkit.h"
#include "support/log-capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using orv::modbusreader::convertField;
using orv::modbusreader::ModbusMeteringSystem;
using orv::modbusreader::scaleEnergy;
using orv::modbusreader::scalePower;
using testing::ElementsAre;
using vxModel::ModbusFieldType;

namespace {

/// The record that a conversion of one value leaves behind.
ModbusMeteringSystem converted(ModbusFieldType fieldType, float value, float scaleValue = 1.0F) {
    const LogCapture log(LogCapture::Mode::lenient);
    ModbusMeteringSystem reading;
    convertField(reading, value, fieldType, scaleValue);
    return reading;
}

struct MemberOfField {
    ModbusFieldType fieldType;
    double ModbusMeteringSystem::*member;
};

using R = ModbusMeteringSystem;
using F = ModbusFieldType;

constexpr MemberOfField energyFields[] = {
    {F::energyImport, &R::energyConsumed},          {F::energyExport, &R::energyProduced},
    {F::energyImportTariff1, &R::t1EnergyConsumed}, {F::energyImportTariff2, &R::t2EnergyConsumed},
    {F::energyImportTariff3, &R::t3EnergyConsumed}, {F::energyImportTariff4, &R::t4EnergyConsumed},
    {F::energyImportTariff5, &R::t5EnergyConsumed}, {F::energyImportTariff6, &R::t6EnergyConsumed},
    {F::energyExportTariff1, &R::t1EnergyProduced}, {F::energyExportTariff2, &R::t2EnergyProduced},
    {F::energyExportTariff3, &R::t3EnergyProduced}, {F::energyExportTariff4, &R::t4EnergyProduced},
    {F::energyExportTariff5, &R::t5EnergyProduced}, {F::energyExportTariff6, &R::t6EnergyProduced},
};

} // namespace

TEST(ScalePower, multipliesInSinglePrecision) {
    // In double precision the product would end in ...0149.
    EXPECT_EQ(scalePower(16777217.0F, 0.1F), 1677721.625F);
    EXPECT_EQ(scalePower(-230.5F, 10.0F), -2305.0F);
}

TEST(ScaleEnergy, multipliesByScaleThenSecondsThenWattsEachInSinglePrecision) {
    // Constants multiplied before the value, or double precision, would give 44442000.
    EXPECT_EQ(scaleEnergy(1234.5F, 0.01F), 44441996.0F);
    // The two constants multiplied into one would give 25200.
    EXPECT_EQ(scaleEnergy(0.7F, 0.01F), 25199.998046875F);
}

TEST(Scaling, logsScaleAndValueAtDebug) {
    DebugCapture log("modbusSerial");

    scalePower(2.5F, 10.0F);
    scaleEnergy(3.5F, 0.1F);

    EXPECT_THAT(log.take(),
                ElementsAre("debug modbusSerial scaleValue:10 value:2.5 toolkit.cpp:<line>",
                            "debug modbusSerial scaleValue:0.1 value:3.5 toolkit.cpp:<line>"));
}

TEST(ConvertField, logsValueTypeAndScaleOnEveryConversionAtNotice) {
    LogCapture log;
    ModbusMeteringSystem reading;

    convertField(reading, 3.0F, F::energyImport, 0.5F);
    convertField(reading, 4.0F, F::model, 1.0F);

    EXPECT_THAT(log.take(),
                ElementsAre("notice modbusSerial value:3 modbusFieldType:energyImport "
                            "scaleValue:0.5 toolkit.cpp:<line>",
                            "notice modbusSerial value:4 modbusFieldType:model scaleValue:1 "
                            "toolkit.cpp:<line>"));
}

TEST(ConvertField, powerImportLogsItsStepsAtDebug) {
    DebugCapture log("modbusSerial");
    ModbusMeteringSystem reading;

    convertField(reading, 3.0F, F::powerImport, 10.0F);

    EXPECT_THAT(
        log.take(),
        ElementsAre("notice modbusSerial value:3 modbusFieldType:powerImport scaleValue:10 "
                    "toolkit.cpp:<line>",
                    "debug modbusSerial power conversion value:3 scaleValue:10 toolkit.cpp:<line>",
                    "debug modbusSerial scaleValue:10 value:3 toolkit.cpp:<line>",
                    "debug modbusSerial power conversion after  value:30 toolkit.cpp:<line>"));
}

TEST(ConvertField, tariffEnabledLogsItsValueAtDebug) {
    DebugCapture log("modbusSerial");
    ModbusMeteringSystem reading;

    convertField(reading, 1.0F, F::tariffEnabled, 1.0F);

    EXPECT_THAT(log.take(), ElementsAre("notice modbusSerial value:1 modbusFieldType:tariffEnabled "
                                        "scaleValue:1 toolkit.cpp:<line>",
                                        "debug modbusSerial Tariff value:1 toolkit.cpp:<line>"));
}

TEST(ConvertField, powerImportAboveZeroGoesToPowerConsumedAlone) {
    EXPECT_EQ(converted(F::powerImport, 2.5F, 100.0F), (R{.powerConsumed = 250.0}));
    EXPECT_EQ(converted(F::powerImport, 0.5F, 1.0F), (R{.powerConsumed = 0.5}));
}

TEST(ConvertField, powerImportBelowZeroGoesToPowerProducedWithTheSignTurned) {
    EXPECT_EQ(converted(F::powerImport, -2.5F, 100.0F), (R{.powerProduced = 250.0}));
}

TEST(ConvertField, powerImportTestsTheScaledValue) {
    EXPECT_EQ(converted(F::powerImport, 2.0F, -1.0F), (R{.powerProduced = 2.0}));
}

TEST(ConvertField, powerImportOfZeroStoresNegativeZeroInPowerProduced) {
    const ModbusMeteringSystem reading = converted(F::powerImport, 0.0F);

    EXPECT_EQ(reading.powerProduced, 0.0);
    EXPECT_TRUE(std::signbit(reading.powerProduced));
    EXPECT_FALSE(std::signbit(reading.powerConsumed));
}

TEST(ConvertField, anEnergyKeepsItsSignAndANanIsStored) {
    const std::vector<F> energies = {F::energyImport, F::energyExport, F::energyImportTariff1,
                                     F::energyExportTariff6};
    const auto storedAs = [](F fieldType, float value) {
        const ModbusMeteringSystem reading = converted(fieldType, value);
        return reading.energyConsumed + reading.energyProduced + reading.t1EnergyConsumed +
               reading.t6EnergyProduced;
    };
    for (const F energy : energies) {
        EXPECT_EQ(storedAs(energy, -2.0F), -7200000.0) << vx::str(energy);
        EXPECT_TRUE(std::isnan(storedAs(energy, std::numeric_limits<float>::quiet_NaN())))
            << vx::str(energy);
    }
}

TEST(ConvertField, powerImportOfNanGoesToPowerProduced) {
    const ModbusMeteringSystem reading =
        converted(F::powerImport, std::numeric_limits<float>::quiet_NaN());

    EXPECT_TRUE(std::isnan(reading.powerProduced));
    EXPECT_EQ(reading.powerConsumed, 0.0);
}

TEST(ConvertField, powerImportLeavesTheOtherMemberUntouched) {
    const LogCapture log(LogCapture::Mode::lenient);
    ModbusMeteringSystem reading{.powerConsumed = 7.0, .powerProduced = 9.0};

    convertField(reading, 5.0F, F::powerImport, 1.0F);
    EXPECT_EQ(reading, (R{.powerConsumed = 5.0, .powerProduced = 9.0}));
    convertField(reading, -6.0F, F::powerImport, 1.0F);
    EXPECT_EQ(reading, (R{.powerConsumed = 5.0, .powerProduced = 6.0}));
}

TEST(ConvertField, powerExportIsStoredWithItsSign) {
    EXPECT_EQ(converted(F::powerExport, -2.5F, 100.0F), (R{.powerProduced = -250.0}));
    EXPECT_EQ(converted(F::powerExport, 2.5F, 100.0F), (R{.powerProduced = 250.0}));
}

TEST(ConvertField, laterRegisterOverwritesPowerProduced) {
    const LogCapture log(LogCapture::Mode::lenient);
    ModbusMeteringSystem reading;

    convertField(reading, 8.0F, F::powerExport, 1.0F);
    convertField(reading, -3.0F, F::powerImport, 1.0F);
    EXPECT_EQ(reading.powerProduced, 3.0);
    convertField(reading, 8.0F, F::powerExport, 1.0F);
    EXPECT_EQ(reading.powerProduced, 8.0);
}

TEST(ConvertField, energyOfOneWithScaleOneYieldsWattSecondsOfAKilowattHour) {
    for (const auto& [fieldType, member] : energyFields) {
        ModbusMeteringSystem expected;
        expected.*member = 3600000.0;
        EXPECT_EQ(converted(fieldType, 1.0F), expected) << vx::str(fieldType);
    }
}

TEST(ConvertField, tariffEnabledIsWhetherTheUnscaledValueIsAboveZero) {
    EXPECT_TRUE(converted(F::tariffEnabled, 1.0F, 0.0F).tariffEnabled);
    EXPECT_TRUE(converted(F::tariffEnabled, 1.0F, -1.0F).tariffEnabled);
    EXPECT_FALSE(converted(F::tariffEnabled, 0.0F, 5.0F).tariffEnabled);
}

TEST(ConvertField, tariffEnabledCanBeSwitchedOffAgain) {
    const LogCapture log(LogCapture::Mode::lenient);
    ModbusMeteringSystem reading{.tariffEnabled = true};

    convertField(reading, 0.0F, F::tariffEnabled, 1.0F);

    EXPECT_FALSE(reading.tariffEnabled);
}

TEST(ConvertField, fieldsWithoutAMemberDoNothing) {
    for (const F fieldType : {F::none, F::model, F::manufacturer, F::dateTime, F::serial})
        EXPECT_EQ(converted(fieldType, 42.0F), R()) << vx::str(fieldType);
}
