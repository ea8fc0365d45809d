#include "model/modbus.h"

#include "metering/readings.h"
#include "modbus/server-replies.h"
#include "model/metering.h"
#include "support/counts-in-comparison.h"
#include "support/log-capture.h"
#include "support/thrown-text.h"
#include "support/written.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <type_traits>

using namespace vxModel;

namespace {

ModbusRegister readRegister(const char* text) {
    return vx::fromJson<ModbusRegister>(text);
}

template <class R>
std::string failure(const char* text) {
    return thrownText([text] { vx::fromJson<R>(text); });
}

/// The enumerators in numeric order and their names, to be compared with the table.
template <class E>
void expectTable(const char* tableName, const std::vector<std::pair<E, std::string>>& rows) {
    const vx::EnumTable table = vxEnum(E{});
    EXPECT_STREQ(table.name, tableName);
    ASSERT_EQ(static_cast<std::size_t>(table.end - table.begin), rows.size()) << tableName;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [enumerator, name] = rows[i];
        EXPECT_EQ(static_cast<std::size_t>(enumerator), i) << tableName << ' ' << name;
        EXPECT_EQ(table.begin[i].value, static_cast<int>(i)) << tableName << ' ' << name;
        EXPECT_EQ(table.begin[i].name, name) << tableName;
        EXPECT_EQ(vx::toEnum<E>(name), enumerator) << tableName;
        EXPECT_EQ((std::ostringstream() << enumerator).str(), name) << tableName;
    }
}

ModbusRegister fullRegister() {
    return {65535, ModbusFieldType::serial,  ModbusDataType::ascii, 255,
            0.5F,  ModbusRegisterType::input};
}

ElectricityMeterConfig fullConfig() {
    return {"i", "d", "m", "f", {fullRegister()}};
}

SerialPortConfig fullSerialPort() {
    return {"/dev/ttyRS485", BaudRateType::baud19200, Parity::none, DataBits::bits8,
            StopBits::bits1};
}

ModbusMeter fullMeter() {
    return {MeteringId("i"), "c", "m", "f", "s", "n", true, true, -300, MeterApplication::battery};
}

const std::string narrowing =
    " condition:static_cast<U>(t) == u && (t < 0) == (u < 0) vx/record.h:<line> / ";

} // namespace

TEST(ModbusModel, enumeratorsHaveTheirNumbersAndNames) {
    expectTable<ModbusFieldType>("::vxModel::ModbusFieldType",
                                 {
                                     {ModbusFieldType::none, "none"},
                                     {ModbusFieldType::powerImport, "powerImport"},
                                     {ModbusFieldType::powerExport, "powerExport"},
                                     {ModbusFieldType::energyImport, "energyImport"},
                                     {ModbusFieldType::energyExport, "energyExport"},
                                     {ModbusFieldType::energyImportTariff1, "energyImportTariff1"},
                                     {ModbusFieldType::energyImportTariff2, "energyImportTariff2"},
                                     {ModbusFieldType::energyImportTariff3, "energyImportTariff3"},
                                     {ModbusFieldType::energyImportTariff4, "energyImportTariff4"},
                                     {ModbusFieldType::energyImportTariff5, "energyImportTariff5"},
                                     {ModbusFieldType::energyImportTariff6, "energyImportTariff6"},
                                     {ModbusFieldType::energyExportTariff1, "energyExportTariff1"},
                                     {ModbusFieldType::energyExportTariff2, "energyExportTariff2"},
                                     {ModbusFieldType::energyExportTariff3, "energyExportTariff3"},
                                     {ModbusFieldType::energyExportTariff4, "energyExportTariff4"},
                                     {ModbusFieldType::energyExportTariff5, "energyExportTariff5"},
                                     {ModbusFieldType::energyExportTariff6, "energyExportTariff6"},
                                     {ModbusFieldType::model, "model"},
                                     {ModbusFieldType::manufacturer, "manufacturer"},
                                     {ModbusFieldType::dateTime, "dateTime"},
                                     {ModbusFieldType::serial, "serial"},
                                     {ModbusFieldType::tariffEnabled, "tariffEnabled"},
                                 });
    expectTable<ModbusDataType>("::vxModel::ModbusDataType",
                                {
                                    {ModbusDataType::none, "none"},
                                    {ModbusDataType::int16, "int16"},
                                    {ModbusDataType::uint16, "uint16"},
                                    {ModbusDataType::int32, "int32"},
                                    {ModbusDataType::uint32, "uint32"},
                                    {ModbusDataType::int64, "int64"},
                                    {ModbusDataType::uint64, "uint64"},
                                    {ModbusDataType::float32, "float32"},
                                    {ModbusDataType::ascii, "ascii"},
                                    {ModbusDataType::bitmap, "bitmap"},
                                    {ModbusDataType::dateTime, "dateTime"},
                                });
    expectTable<ModbusRegisterType>("::vxModel::ModbusRegisterType",
                                    {
                                        {ModbusRegisterType::none, "none"},
                                        {ModbusRegisterType::input, "input"},
                                        {ModbusRegisterType::holding, "holding"},
                                    });
    expectTable<BaudRateType>("::vxModel::BaudRateType",
                              {
                                  {BaudRateType::none, "none"},
                                  {BaudRateType::baud9600, "baud9600"},
                                  {BaudRateType::baud19200, "baud19200"},
                                  {BaudRateType::baud38400, "baud38400"},
                                  {BaudRateType::baud57600, "baud57600"},
                                  {BaudRateType::baud115200, "baud115200"},
                              });
    expectTable<Parity>("::vxModel::Parity", {{Parity::uninitilzed, "uninitilzed"},
                                              {Parity::none, "none"},
                                              {Parity::even, "even"},
                                              {Parity::odd, "odd"}});
    expectTable<DataBits>("::vxModel::DataBits", {{DataBits::none, "none"},
                                                  {DataBits::bits7, "bits7"},
                                                  {DataBits::bits8, "bits8"},
                                                  {DataBits::bits9, "bits9"}});
    expectTable<StopBits>(
        "::vxModel::StopBits",
        {{StopBits::none, "none"}, {StopBits::bits1, "bits1"}, {StopBits::bits2, "bits2"}});
    expectTable<MeterApplication>("::vxModel::MeterApplication",
                                  {
                                      {MeterApplication::unitialized, "unitialized"},
                                      {MeterApplication::none, "none"},
                                      {MeterApplication::solar, "solar"},
                                      {MeterApplication::wallbox, "wallbox"},
                                      {MeterApplication::battery, "battery"},
                                  });
    expectTable<MeteringType>(
        "::vxModel::MeteringType",
        {
            {MeteringType::none, "none"},
            {MeteringType::energyMetering, "energyMetering"},
            {MeteringType::powerMetering, "powerMetering"},
            {MeteringType::energyProducedMetering, "energyProducedMetering"},
            {MeteringType::powerProducedMetering, "powerProducedMetering"},
            {MeteringType::energyConsumedTariff1Metering, "energyConsumedTariff1Metering"},
            {MeteringType::energyConsumedTariff2Metering, "energyConsumedTariff2Metering"},
            {MeteringType::energyConsumedTariff3Metering, "energyConsumedTariff3Metering"},
            {MeteringType::energyConsumedTariff4Metering, "energyConsumedTariff4Metering"},
            {MeteringType::energyConsumedTariff5Metering, "energyConsumedTariff5Metering"},
            {MeteringType::energyConsumedTariff6Metering, "energyConsumedTariff6Metering"},
            {MeteringType::energyProducedTariff1Metering, "energyProducedTariff1Metering"},
            {MeteringType::energyProducedTariff2Metering, "energyProducedTariff2Metering"},
            {MeteringType::energyProducedTariff3Metering, "energyProducedTariff3Metering"},
            {MeteringType::energyProducedTariff4Metering, "energyProducedTariff4Metering"},
            {MeteringType::energyProducedTariff5Metering, "energyProducedTariff5Metering"},
            {MeteringType::energyProducedTariff6Metering, "energyProducedTariff6Metering"},
        });
}

TEST(ModbusModel, enumeratorsAreHeldIn32Bits) {
    using std::is_same_v;
    using std::underlying_type_t;
    static_assert(is_same_v<underlying_type_t<vxModel::ModbusFieldType>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::ModbusDataType>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::ModbusRegisterType>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::BaudRateType>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::Parity>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::DataBits>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::StopBits>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::MeterApplication>, std::int32_t>);
    static_assert(is_same_v<underlying_type_t<vxModel::MeteringType>, std::int32_t>);
}

TEST(ModbusModel, anUnknownEnumeratorInAStreamWritesNothingAndIsReported) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ((std::ostringstream() << static_cast<Parity>(9)).str(), "");

    EXPECT_THAT(log.take(), testing::ElementsAre(
                                "debug vxEnum Unknown ::vxModel::Parity enum value 9 .cpp:<line>"));
}

TEST(ModbusModel, theSameWordHasAnotherNumberInAnotherTable) {
    EXPECT_EQ(static_cast<int>(vx::toEnum<Parity>("none")), 1);
    EXPECT_EQ(static_cast<int>(vx::toEnum<ModbusDataType>("none")), 0);
}

TEST(ModbusModel, recordsAreWrittenInTheOrderOfTheirFields) {
    EXPECT_EQ(written(fullConfig()),
              R"({"id":"i","displayName":"d","model":"m","manufacturer":"f","registers":[)"
              R"({"address":65535,"fieldType":"serial","modbusDataType":"ascii","length":255,)"
              R"("scaleValue":0.5,"registerType":"input"}]})");
    EXPECT_EQ(written(fullSerialPort()),
              R"({"serialDevice":"\/dev\/ttyRS485","baudRate":"baud19200","parity":"none",)"
              R"("dataBits":"bits8","stopBits":"bits1"})");
    EXPECT_EQ(written(fullMeter()),
              R"({"id":"i","configId":"c","model":"m","manufacturer":"f","serial":"s","name":"n",)"
              R"("tariffEnabled":true,"isGlobal":true,"slaveAddress":-300,)"
              R"("application":"battery"})");
}

TEST(ModbusModel, recordsShowTheirTextFormInTheOrderOfTheirFields) {
    EXPECT_EQ(vx::str(fullConfig()),
              R"({"id":i,"displayName":d,"model":m,"manufacturer":f,"registers":[)"
              R"({"address":65535,"fieldType":serial,"modbusDataType":ascii,"length":255,)"
              R"("scaleValue":0.5,"registerType":input}]})");
    EXPECT_EQ(vx::str(fullSerialPort()),
              R"({"serialDevice":/dev/ttyRS485,"baudRate":baud19200,"parity":none,)"
              R"("dataBits":bits8,"stopBits":bits1})");
    EXPECT_EQ(vx::str(fullMeter()),
              R"({"id":i,"configId":c,"model":m,"manufacturer":f,"serial":s,"name":n,)"
              R"("tariffEnabled":1,"isGlobal":1,"slaveAddress":-300,"application":battery})");
}

TEST(ModbusRegister, comparesEachField) {
    using R = ModbusRegister;
    EXPECT_TRUE(countsInComparison(fullRegister(), &R::address, 1));
    EXPECT_TRUE(countsInComparison(fullRegister(), &R::fieldType, ModbusFieldType::model));
    EXPECT_TRUE(countsInComparison(fullRegister(), &R::modbusDataType, ModbusDataType::bitmap));
    EXPECT_TRUE(countsInComparison(fullRegister(), &R::length, 1));
    EXPECT_TRUE(countsInComparison(fullRegister(), &R::scaleValue, 2.0F));
    EXPECT_TRUE(countsInComparison(fullRegister(), &R::registerType, ModbusRegisterType::holding));
}

TEST(ModbusRegister, withAScaleThatIsNoNumberIsUnequalToACopyOfItself) {
    const ModbusRegister r{.scaleValue = std::numeric_limits<float>::quiet_NaN()};
    const ModbusRegister copy = r;

    EXPECT_FALSE(r == copy);
    EXPECT_TRUE(r != copy);
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
              fullRegister());
}

TEST(ModbusRegister, scaleValueNullAndAMissingOneYieldOneWhileZeroYieldsZero) {
    EXPECT_EQ(readRegister(R"({"scaleValue":null})").scaleValue, 1.0F);
    EXPECT_EQ(readRegister("{}").scaleValue, 1.0F);
    EXPECT_EQ(readRegister(R"({"scaleValue":0})").scaleValue, 0.0F);
}

TEST(ModbusRegister, theScaleIsHeldInSinglePrecision) {
    const auto aRegister = vx::fromJson<vxModel::ModbusRegister>(R"({"scaleValue":0.1})");

    EXPECT_EQ(vx::toJson(vx::toJsonFragment(aRegister)),
              R"({"scaleValue":0.10000000149011612,"registerType":"holding"})");
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

TEST(ElectricityMeterConfig, comparesEachField) {
    using R = ElectricityMeterConfig;
    EXPECT_TRUE(countsInComparison(fullConfig(), &R::id, "x"));
    EXPECT_TRUE(countsInComparison(fullConfig(), &R::displayName, "x"));
    EXPECT_TRUE(countsInComparison(fullConfig(), &R::model, "x"));
    EXPECT_TRUE(countsInComparison(fullConfig(), &R::manufacturer, "x"));
    EXPECT_TRUE(countsInComparison(fullConfig(), &R::registers, {ModbusRegister()}));
}

TEST(SerialPortConfig, comparesEachField) {
    using R = SerialPortConfig;
    EXPECT_TRUE(countsInComparison(fullSerialPort(), &R::serialDevice, "x"));
    EXPECT_TRUE(countsInComparison(fullSerialPort(), &R::baudRate, BaudRateType::none));
    EXPECT_TRUE(countsInComparison(fullSerialPort(), &R::parity, Parity::even));
    EXPECT_TRUE(countsInComparison(fullSerialPort(), &R::dataBits, DataBits::bits7));
    EXPECT_TRUE(countsInComparison(fullSerialPort(), &R::stopBits, StopBits::bits2));
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

    EXPECT_EQ(meter, fullMeter());
}

TEST(ModbusMeter, anEmptyObjectLeavesAllUnset) {
    EXPECT_EQ(vx::fromJson<ModbusMeter>("{}"),
              (ModbusMeter{MeteringId(), "", "", "", "", "", false, false, 0,
                           MeterApplication::unitialized}));
}

TEST(ModbusMeter, comparesEachField) {
    using R = ModbusMeter;
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::id, MeteringId("x")));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::configId, "x"));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::model, "x"));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::manufacturer, "x"));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::serial, "x"));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::name, "x"));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::tariffEnabled, false));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::isGlobal, false));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::slaveAddress, 300));
    EXPECT_TRUE(countsInComparison(fullMeter(), &R::application, MeterApplication::none));
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

TEST(ServerReply, anUnknownNameIsReportedWithItsWholePath) {
    DebugCapture log(vx::enumLogChannel().name());

    vx::fromJson<orv::modbusreader::MeterConfigReply>(
        R"({"data":[{},{},{"registers":[{},{},{},{"registerType":"coil"}]}]})");

    EXPECT_THAT(
        log.take(),
        testing::ElementsAre("debug vxEnum Unknown ::vxModel::ModbusRegisterType enum option. "
                             "value:coil / registerType / 3 / registers / 2 / data .cpp:<line>"));
}

TEST(Identifiers, areEmptyWithoutAText) {
    EXPECT_TRUE(MeteringId().empty());
    EXPECT_TRUE(MeteringId("").empty());
    EXPECT_FALSE(MeteringId("m1").empty());
}

TEST(Identifiers, areNeitherPlainTextsNorOneAnother) {
    using orv::metering::readings::MeterId;

    EXPECT_FALSE((std::is_convertible_v<std::string, MeteringId>));
    EXPECT_FALSE((std::is_convertible_v<MeteringId, std::string>));
    EXPECT_FALSE((std::is_constructible_v<MeteringId, MeterId>));
    EXPECT_FALSE((std::is_constructible_v<MeterId, MeteringId>));
    EXPECT_FALSE((std::is_constructible_v<MeteringId, ControllerId>));
    EXPECT_FALSE((std::is_constructible_v<ControllerId, MeterId>));
}
