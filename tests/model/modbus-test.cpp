#include "model/modbus.h"

#include "modbus/server-replies.h"
#include "support/thrown-text.h"

#include <gtest/gtest.h>

using namespace vxModel;

namespace {

ModbusRegister readRegister(const char* text) {
    return vx::fromJson<ModbusRegister>(text);
}

template <class R>
std::string failure(const char* text) {
    return thrownText([text] { vx::fromJson<R>(text); });
}

template <class R>
std::string written(const R& record) {
    return vx::toJson(vx::toJsonFragment(record));
}

/// The names of an enumeration in numeric order, to be compared with its table.
template <class E>
void expectTable(const char* tableName, const std::vector<std::string>& names) {
    const vx::EnumTable table = vxEnum(E{});
    EXPECT_STREQ(table.name, tableName);
    ASSERT_EQ(static_cast<std::size_t>(table.end - table.begin), names.size()) << tableName;
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(table.begin[i].value, static_cast<int>(i)) << tableName;
        EXPECT_EQ(table.begin[i].name, names[i]) << tableName;
        EXPECT_EQ(static_cast<std::size_t>(vx::toEnum<E>(names[i])), i) << tableName;
    }
}

const std::string narrowing =
    " condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:<line> / ";

} // namespace

TEST(ModbusModel, enumerationsHaveTheirNamesInNumericOrder) {
    expectTable<ModbusFieldType>("::vxModel::ModbusFieldType", {"none",
                                                                "powerImport",
                                                                "powerExport",
                                                                "energyImport",
                                                                "energyExport",
                                                                "energyImportTariff1",
                                                                "energyImportTariff2",
                                                                "energyImportTariff3",
                                                                "energyImportTariff4",
                                                                "energyImportTariff5",
                                                                "energyImportTariff6",
                                                                "energyExportTariff1",
                                                                "energyExportTariff2",
                                                                "energyExportTariff3",
                                                                "energyExportTariff4",
                                                                "energyExportTariff5",
                                                                "energyExportTariff6",
                                                                "model",
                                                                "manufacturer",
                                                                "dateTime",
                                                                "serial",
                                                                "tariffEnabled"});
    expectTable<ModbusDataType>("::vxModel::ModbusDataType",
                                {"none", "int16", "uint16", "int32", "uint32", "int64", "uint64",
                                 "float32", "ascii", "bitmap", "dateTime"});
    expectTable<ModbusRegisterType>("::vxModel::ModbusRegisterType", {"none", "input", "holding"});
    expectTable<BaudRateType>("::vxModel::BaudRateType", {"none", "baud9600", "baud19200",
                                                          "baud38400", "baud57600", "baud115200"});
    expectTable<Parity>("::vxModel::Parity", {"uninitilzed", "none", "even", "odd"});
    expectTable<DataBits>("::vxModel::DataBits", {"none", "bits7", "bits8", "bits9"});
    expectTable<StopBits>("::vxModel::StopBits", {"none", "bits1", "bits2"});
    expectTable<MeterApplication>("::vxModel::MeterApplication",
                                  {"unitialized", "none", "solar", "wallbox", "battery"});
    expectTable<MeteringType>("::vxModel::MeteringType",
                              {"none", "energyMetering", "powerMetering", "energyProducedMetering",
                               "powerProducedMetering", "energyConsumedTariff1Metering",
                               "energyConsumedTariff2Metering", "energyConsumedTariff3Metering",
                               "energyConsumedTariff4Metering", "energyConsumedTariff5Metering",
                               "energyConsumedTariff6Metering", "energyProducedTariff1Metering",
                               "energyProducedTariff2Metering", "energyProducedTariff3Metering",
                               "energyProducedTariff4Metering", "energyProducedTariff5Metering",
                               "energyProducedTariff6Metering"});
}

TEST(ModbusModel, theSameWordHasAnotherNumberInAnotherTable) {
    EXPECT_EQ(static_cast<int>(vx::toEnum<Parity>("none")), 1);
    EXPECT_EQ(static_cast<int>(vx::toEnum<ModbusDataType>("none")), 0);
}

TEST(ModbusRegister, anEmptyObjectYieldsScaleOneAndHoldingAndAllElseZero) {
    const ModbusRegister r = readRegister("{}");

    EXPECT_EQ(r.address, 0);
    EXPECT_EQ(r.fieldType, ModbusFieldType::none);
    EXPECT_EQ(r.modbusDataType, ModbusDataType::none);
    EXPECT_EQ(r.length, 0);
    EXPECT_EQ(r.scaleValue, 1.0F);
    EXPECT_EQ(r.registerType, ModbusRegisterType::holding);
    EXPECT_EQ(ModbusRegister(), r);
}

TEST(ModbusRegister, isReadFromAllItsKeys) {
    EXPECT_EQ(readRegister(R"({"address":65535,"fieldType":"serial","modbusDataType":"ascii",)"
                           R"("length":255,"scaleValue":0.5,"registerType":"input"})"),
              (ModbusRegister{65535, ModbusFieldType::serial, ModbusDataType::ascii, 255, 0.5F,
                              ModbusRegisterType::input}));
}

TEST(ModbusRegister, scaleValueNullAndAMissingOneYieldOneWhileZeroYieldsZero) {
    EXPECT_EQ(readRegister(R"({"scaleValue":null})").scaleValue, 1.0F);
    EXPECT_EQ(readRegister("{}").scaleValue, 1.0F);
    EXPECT_EQ(readRegister(R"({"scaleValue":0})").scaleValue, 0.0F);
}

TEST(ModbusRegister, anUnknownRegisterTypeYieldsNoneThoughAMissingOneYieldsHolding) {
    EXPECT_EQ(readRegister(R"({"registerType":"coil"})").registerType, ModbusRegisterType::none);
}

TEST(ModbusRegister, anAddressGivenAsAStringIsAccepted) {
    EXPECT_EQ(readRegister(R"({"address":"40072"})").address, 40072);
}

TEST(ModbusRegister, anAddressOutOfRangeFails) {
    EXPECT_EQ(failure<ModbusRegister>(R"({"address":65536})"),
              "Narrowing error. t:0 u:65536" + narrowing + "address");
    EXPECT_EQ(failure<ModbusRegister>(R"({"address":-1})"),
              "Narrowing error. t:65535 u:-1" + narrowing + "address");
}

TEST(ModbusRegister, aLengthOf256FailsWhile255Passes) {
    EXPECT_EQ(failure<ModbusRegister>(R"({"length":256})"),
              "Narrowing error. t:0 u:256" + narrowing + "length");
    EXPECT_EQ(readRegister(R"({"length":255})").length, 255);
}

TEST(ModbusRegister, writingLosesAScaleOfZeroAndARegisterTypeOfNone) {
    const ModbusRegister r{.scaleValue = 0.0F, .registerType = ModbusRegisterType::none};

    EXPECT_EQ(written(r), "{}");
    EXPECT_EQ(readRegister(written(r).c_str()).scaleValue, 1.0F);
    EXPECT_EQ(readRegister(written(r).c_str()).registerType, ModbusRegisterType::holding);
}

TEST(ElectricityMeterConfig, registersThatAreAnObjectFailWhileNullLeavesAnEmptyVector) {
    EXPECT_EQ(failure<ElectricityMeterConfig>(R"({"registers":{}})"),
              "Expecting json array. jsonType:4 condition:jsonType == json_type_array "
              "vx/record.h:<line> / registers");
    EXPECT_TRUE(vx::fromJson<ElectricityMeterConfig>(R"({"registers":null})").registers.empty());
}

TEST(ElectricityMeterConfig, isReadFromAllItsKeys) {
    const auto config = vx::fromJson<ElectricityMeterConfig>(
        R"({"id":"i","displayName":"d","model":"m","manufacturer":"f","registers":[{},{}]})");

    EXPECT_EQ(config, (ElectricityMeterConfig{"i", "d", "m", "f", {{}, {}}}));
}

TEST(SerialPortConfig, defaultsAreAllUnset) {
    EXPECT_EQ(vx::fromJson<SerialPortConfig>("{}"),
              (SerialPortConfig{"", BaudRateType::none, Parity::uninitilzed, DataBits::none,
                                StopBits::none}));
}

TEST(SerialPortConfig, aParityOfNoneIsWrittenAndOnlyUninitilzedIsLeftOut) {
    EXPECT_EQ(written(SerialPortConfig{.parity = Parity::none}), R"({"parity":"none"})");
    EXPECT_EQ(written(SerialPortConfig{.parity = Parity::uninitilzed}), "{}");
}

TEST(SerialPortConfig, anUnknownParityReadsAsUninitilzed) {
    EXPECT_EQ(vx::fromJson<SerialPortConfig>(R"({"parity":"mark"})").parity, Parity::uninitilzed);
}

TEST(ModbusMeter, isReadFromAllItsKeys) {
    const auto meter = vx::fromJson<ModbusMeter>(
        R"({"id":"i","configId":"c","model":"m","manufacturer":"f","serial":"s","name":"n",)"
        R"("tariffEnabled":true,"isGlobal":true,"slaveAddress":-300,"application":"battery"})");

    EXPECT_EQ(meter, (ModbusMeter{MeteringId("i"), "c", "m", "f", "s", "n", true, true, -300,
                                  MeterApplication::battery}));
}

TEST(ModbusMeter, tariffEnabledOfOneFails) {
    EXPECT_EQ(failure<ModbusMeter>(R"({"tariffEnabled":1})"),
              "Expecting json boolen. type:3 condition:type == json_type_boolean "
              "vx/record.h:<line> / tariffEnabled");
}

TEST(ModbusMeter, aSlaveAddressBeyond32BitsFails) {
    EXPECT_EQ(failure<ModbusMeter>(R"({"slaveAddress":2147483648})"),
              "Narrowing error. t:-2147483648 u:2147483648" + narrowing + "slaveAddress");
}

TEST(ServerReply, aLengthOf300InTheFourthRegisterOfTheThirdModelNamesItsWholePath) {
    EXPECT_EQ(failure<orv::modbusreader::MeterConfigReply>(
                  R"({"data":[{},{},{"registers":[{},{},{},{"length":300}]}]})"),
              "Narrowing error. t:44 u:300 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) "
              "vx/record.h:<line> / length / 3 / registers / 2 / data");
}
