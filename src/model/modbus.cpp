#include "model/modbus.h"

#include <iterator>

namespace vxModel {

vx::EnumTable vxEnum(ModbusFieldType) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},
        {1, "powerImport"},
        {2, "powerExport"},
        {3, "energyImport"},
        {4, "energyExport"},
        {5, "energyImportTariff1"},
        {6, "energyImportTariff2"},
        {7, "energyImportTariff3"},
        {8, "energyImportTariff4"},
        {9, "energyImportTariff5"},
        {10, "energyImportTariff6"},
        {11, "energyExportTariff1"},
        {12, "energyExportTariff2"},
        {13, "energyExportTariff3"},
        {14, "energyExportTariff4"},
        {15, "energyExportTariff5"},
        {16, "energyExportTariff6"},
        {17, "model"},
        {18, "manufacturer"},
        {19, "dateTime"},
        {20, "serial"},
        {21, "tariffEnabled"},
    };
    return {std::begin(x), std::end(x), "::vxModel::ModbusFieldType"};
}

vx::EnumTable vxEnum(ModbusDataType) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},   {1, "int16"},   {2, "uint16"}, {3, "int32"},  {4, "uint32"},    {5, "int64"},
        {6, "uint64"}, {7, "float32"}, {8, "ascii"},  {9, "bitmap"}, {10, "dateTime"},
    };
    return {std::begin(x), std::end(x), "::vxModel::ModbusDataType"};
}

vx::EnumTable vxEnum(ModbusRegisterType) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},
        {1, "input"},
        {2, "holding"},
    };
    return {std::begin(x), std::end(x), "::vxModel::ModbusRegisterType"};
}

vx::EnumTable vxEnum(BaudRateType) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},      {1, "baud9600"},  {2, "baud19200"},
        {3, "baud38400"}, {4, "baud57600"}, {5, "baud115200"},
    };
    return {std::begin(x), std::end(x), "::vxModel::BaudRateType"};
}

vx::EnumTable vxEnum(Parity) {
    static constexpr vx::EnumRow x[] = {
        {0, "uninitilzed"},
        {1, "none"},
        {2, "even"},
        {3, "odd"},
    };
    return {std::begin(x), std::end(x), "::vxModel::Parity"};
}

vx::EnumTable vxEnum(DataBits) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},
        {1, "bits7"},
        {2, "bits8"},
        {3, "bits9"},
    };
    return {std::begin(x), std::end(x), "::vxModel::DataBits"};
}

vx::EnumTable vxEnum(StopBits) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},
        {1, "bits1"},
        {2, "bits2"},
    };
    return {std::begin(x), std::end(x), "::vxModel::StopBits"};
}

vx::EnumTable vxEnum(MeterApplication) {
    static constexpr vx::EnumRow x[] = {
        {0, "unitialized"}, {1, "none"}, {2, "solar"}, {3, "wallbox"}, {4, "battery"},
    };
    return {std::begin(x), std::end(x), "::vxModel::MeterApplication"};
}

vx::EnumTable vxEnum(MeteringType) {
    static constexpr vx::EnumRow x[] = {
        {0, "none"},
        {1, "energyMetering"},
        {2, "powerMetering"},
        {3, "energyProducedMetering"},
        {4, "powerProducedMetering"},
        {5, "energyConsumedTariff1Metering"},
        {6, "energyConsumedTariff2Metering"},
        {7, "energyConsumedTariff3Metering"},
        {8, "energyConsumedTariff4Metering"},
        {9, "energyConsumedTariff5Metering"},
        {10, "energyConsumedTariff6Metering"},
        {11, "energyProducedTariff1Metering"},
        {12, "energyProducedTariff2Metering"},
        {13, "energyProducedTariff3Metering"},
        {14, "energyProducedTariff4Metering"},
        {15, "energyProducedTariff5Metering"},
        {16, "energyProducedTariff6Metering"},
    };
    return {std::begin(x), std::end(x), "::vxModel::MeteringType"};
}

} // namespace vxModel
