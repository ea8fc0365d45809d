#include "model/modbus.h"

#include <iterator>

namespace vxModel {

vx::EnumTable vxEnum(ModbusFieldType) {
    using enum ModbusFieldType;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},
        {powerImport, "powerImport"},
        {powerExport, "powerExport"},
        {energyImport, "energyImport"},
        {energyExport, "energyExport"},
        {energyImportTariff1, "energyImportTariff1"},
        {energyImportTariff2, "energyImportTariff2"},
        {energyImportTariff3, "energyImportTariff3"},
        {energyImportTariff4, "energyImportTariff4"},
        {energyImportTariff5, "energyImportTariff5"},
        {energyImportTariff6, "energyImportTariff6"},
        {energyExportTariff1, "energyExportTariff1"},
        {energyExportTariff2, "energyExportTariff2"},
        {energyExportTariff3, "energyExportTariff3"},
        {energyExportTariff4, "energyExportTariff4"},
        {energyExportTariff5, "energyExportTariff5"},
        {energyExportTariff6, "energyExportTariff6"},
        {model, "model"},
        {manufacturer, "manufacturer"},
        {dateTime, "dateTime"},
        {serial, "serial"},
        {tariffEnabled, "tariffEnabled"},
    };
    return {std::begin(x), std::end(x), "::vxModel::ModbusFieldType"};
}

vx::EnumTable vxEnum(ModbusDataType) {
    using enum ModbusDataType;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},     {int16, "int16"},   {uint16, "uint16"},     {int32, "int32"},
        {uint32, "uint32"}, {int64, "int64"},   {uint64, "uint64"},     {float32, "float32"},
        {ascii, "ascii"},   {bitmap, "bitmap"}, {dateTime, "dateTime"},
    };
    return {std::begin(x), std::end(x), "::vxModel::ModbusDataType"};
}

vx::EnumTable vxEnum(ModbusRegisterType) {
    using enum ModbusRegisterType;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},
        {input, "input"},
        {holding, "holding"},
    };
    return {std::begin(x), std::end(x), "::vxModel::ModbusRegisterType"};
}

vx::EnumTable vxEnum(BaudRateType) {
    using enum BaudRateType;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},           {baud9600, "baud9600"},   {baud19200, "baud19200"},
        {baud38400, "baud38400"}, {baud57600, "baud57600"}, {baud115200, "baud115200"},
    };
    return {std::begin(x), std::end(x), "::vxModel::BaudRateType"};
}

vx::EnumTable vxEnum(Parity) {
    using enum Parity;
    static constexpr vx::EnumRow x[] = {
        {uninitilzed, "uninitilzed"},
        {none, "none"},
        {even, "even"},
        {odd, "odd"},
    };
    return {std::begin(x), std::end(x), "::vxModel::Parity"};
}

vx::EnumTable vxEnum(DataBits) {
    using enum DataBits;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},
        {bits7, "bits7"},
        {bits8, "bits8"},
        {bits9, "bits9"},
    };
    return {std::begin(x), std::end(x), "::vxModel::DataBits"};
}

vx::EnumTable vxEnum(StopBits) {
    using enum StopBits;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},
        {bits1, "bits1"},
        {bits2, "bits2"},
    };
    return {std::begin(x), std::end(x), "::vxModel::StopBits"};
}

vx::EnumTable vxEnum(MeterApplication) {
    using enum MeterApplication;
    static constexpr vx::EnumRow x[] = {
        {unitialized, "unitialized"}, {none, "none"},       {solar, "solar"},
        {wallbox, "wallbox"},         {battery, "battery"},
    };
    return {std::begin(x), std::end(x), "::vxModel::MeterApplication"};
}

vx::EnumTable vxEnum(MeteringType) {
    using enum MeteringType;
    static constexpr vx::EnumRow x[] = {
        {none, "none"},
        {energyMetering, "energyMetering"},
        {powerMetering, "powerMetering"},
        {energyProducedMetering, "energyProducedMetering"},
        {powerProducedMetering, "powerProducedMetering"},
        {energyConsumedTariff1Metering, "energyConsumedTariff1Metering"},
        {energyConsumedTariff2Metering, "energyConsumedTariff2Metering"},
        {energyConsumedTariff3Metering, "energyConsumedTariff3Metering"},
        {energyConsumedTariff4Metering, "energyConsumedTariff4Metering"},
        {energyConsumedTariff5Metering, "energyConsumedTariff5Metering"},
        {energyConsumedTariff6Metering, "energyConsumedTariff6Metering"},
        {energyProducedTariff1Metering, "energyProducedTariff1Metering"},
        {energyProducedTariff2Metering, "energyProducedTariff2Metering"},
        {energyProducedTariff3Metering, "energyProducedTariff3Metering"},
        {energyProducedTariff4Metering, "energyProducedTariff4Metering"},
        {energyProducedTariff5Metering, "energyProducedTariff5Metering"},
        {energyProducedTariff6Metering, "energyProducedTariff6Metering"},
    };
    return {std::begin(x), std::end(x), "::vxModel::MeteringType"};
}

} // namespace vxModel
