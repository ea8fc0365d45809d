#pragma once

#include "vx/enum-table.h"
#include "vx/identifier.h"
#include "vx/record.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

// The vocabulary in which the local server describes the Modbus installation. Enumerations travel
// as their names, misspelt ones included; an unknown name reads as value 0. No key of a record is
// required. Nothing is checked beyond the types: a record may hold any address, length or scale.

namespace vxModel {

/// Writes the name of an enumerator of this model; nothing for a value without a name.
template <vx::NamedEnum E>
std::ostream& operator<<(std::ostream& stream, E value) {
    vx::detail::write(stream, value);
    return stream;
}

/// Which reading a register carries. Powers and energies are measured values, scaled on decoding;
/// `model`, `manufacturer` and `dateTime` are read and dropped; `serial` is the identity of the
/// meter.
enum class ModbusFieldType : std::int32_t {
    none = 0,
    powerImport = 1,
    powerExport = 2,
    energyImport = 3,
    energyExport = 4,
    energyImportTariff1 = 5,
    energyImportTariff2 = 6,
    energyImportTariff3 = 7,
    energyImportTariff4 = 8,
    energyImportTariff5 = 9,
    energyImportTariff6 = 10,
    energyExportTariff1 = 11,
    energyExportTariff2 = 12,
    energyExportTariff3 = 13,
    energyExportTariff4 = 14,
    energyExportTariff5 = 15,
    energyExportTariff6 = 16,
    model = 17,
    manufacturer = 18,
    dateTime = 19,
    serial = 20,
    tariffEnabled = 21,
};

/// How the words of a register are to be read. `none`, `int16`, `bitmap` and `dateTime` are known
/// to the server but not decoded.
enum class ModbusDataType : std::int32_t {
    none = 0,
    int16 = 1,
    uint16 = 2,
    int32 = 3,
    uint32 = 4,
    int64 = 5,
    uint64 = 6,
    float32 = 7,
    ascii = 8,
    bitmap = 9,
    dateTime = 10,
};

/// Which Modbus register space an address lies in: function 4 reads `input`, function 3 all others.
enum class ModbusRegisterType : std::int32_t {
    none = 0,
    input = 1,
    holding = 2,
};

/// Speed of the serial line in bits per second. With `none`, no line is opened.
enum class BaudRateType : std::int32_t {
    none = 0,
    baud9600 = 1,
    baud19200 = 2,
    baud38400 = 3,
    baud57600 = 4,
    baud115200 = 5,
};

/// Parity of the serial line. Value 0 is "not yet set"; `none` is a real setting, no parity bit.
enum class Parity : std::int32_t {
    uninitilzed = 0,
    none = 1,
    even = 2,
    odd = 3,
};

/// Data bits of the serial line. With `none`, no line is opened; any other value runs at eight.
enum class DataBits : std::int32_t {
    none = 0,
    bits7 = 1,
    bits8 = 2,
    bits9 = 3,
};

/// Stop bits of the serial line. With `none`, no line is opened.
enum class StopBits : std::int32_t {
    none = 0,
    bits1 = 1,
    bits2 = 2,
};

/// What a meter is attached to. Value 0 is "not yet set"; `none` is a real setting. Nothing depends
/// on it here.
enum class MeterApplication : std::int32_t {
    unitialized = 0,
    none = 1,
    solar = 2,
    wallbox = 3,
    battery = 4,
};

/// Kind of a metering, for the records of model/metering.h.
enum class MeteringType : std::int32_t {
    none = 0,
    energyMetering = 1,
    powerMetering = 2,
    energyProducedMetering = 3,
    powerProducedMetering = 4,
    energyConsumedTariff1Metering = 5,
    energyConsumedTariff2Metering = 6,
    energyConsumedTariff3Metering = 7,
    energyConsumedTariff4Metering = 8,
    energyConsumedTariff5Metering = 9,
    energyConsumedTariff6Metering = 10,
    energyProducedTariff1Metering = 11,
    energyProducedTariff2Metering = 12,
    energyProducedTariff3Metering = 13,
    energyProducedTariff4Metering = 14,
    energyProducedTariff5Metering = 15,
    energyProducedTariff6Metering = 16,
};

// The names are those of the enumerators.
vx::EnumTable vxEnum(ModbusFieldType);
vx::EnumTable vxEnum(ModbusDataType);
vx::EnumTable vxEnum(ModbusRegisterType);
vx::EnumTable vxEnum(BaudRateType);
vx::EnumTable vxEnum(Parity);
vx::EnumTable vxEnum(DataBits);
vx::EnumTable vxEnum(StopBits);
vx::EnumTable vxEnum(MeterApplication);
vx::EnumTable vxEnum(MeteringType);

/// Identity of a metering at the local server; the daemon sends the meter's serial instead.
using MeteringId = vx::Identifier<struct MeteringIdTag>;

/// One field of a meter's register map.
struct ModbusRegister {
    /// Address as it goes over the bus, from 0.
    std::uint16_t address = 0;
    ModbusFieldType fieldType = ModbusFieldType::none;
    ModbusDataType modbusDataType = ModbusDataType::none;
    /// Number of values of the data type, not of registers. All are read, but a numeric type
    /// decodes the first one only.
    std::uint8_t length = 0;
    /// Factor by which the number is multiplied. It takes an energy to kilowatt-hours, and a power
    /// to the unit in which it is sent.
    float scaleValue = 1.0F;
    ModbusRegisterType registerType = ModbusRegisterType::holding;

    bool operator==(const ModbusRegister&) const = default;
    VX_FIELDS(ModbusRegister, address, fieldType, modbusDataType, length, scaleValue, registerType)
};

/// A supported meter model with its register map. The registers are read in this order, one by one.
struct ElectricityMeterConfig {
    std::string id = {};
    std::string displayName = {};
    std::string model = {};
    std::string manufacturer = {};
    std::vector<ModbusRegister> registers = {};

    bool operator==(const ElectricityMeterConfig&) const = default;
    VX_FIELDS(ElectricityMeterConfig, id, displayName, model, manufacturer, registers)
};

/// The serial parameters of the RS-485 bus.
struct SerialPortConfig {
    /// Compared and logged, never opened: the port is a property of the hardware.
    std::string serialDevice = {};
    BaudRateType baudRate = BaudRateType::none;
    Parity parity = Parity::uninitilzed;
    DataBits dataBits = DataBits::none;
    StopBits stopBits = StopBits::none;

    bool operator==(const SerialPortConfig&) const = default;
    VX_FIELDS(SerialPortConfig, serialDevice, baudRate, parity, dataBits, stopBits)
};

/// One attached meter.
struct ModbusMeter {
    MeteringId id = {};
    /// The `ElectricityMeterConfig::id` of its model. Several models may have it; all are read.
    std::string configId = {};
    std::string model = {};
    std::string manufacturer = {};
    /// If set, stands for what a register of type `serial` would give.
    std::string serial = {};
    std::string name = {};
    bool tariffEnabled = false;
    bool isGlobal = false;
    /// Unit on the bus. Not checked here: the Modbus library takes or refuses it.
    std::int32_t slaveAddress = 0;
    MeterApplication application = MeterApplication::unitialized;

    bool operator==(const ModbusMeter&) const = default;
    VX_FIELDS(ModbusMeter, id, configId, model, manufacturer, serial, name, tariffEnabled, isGlobal,
              slaveAddress, application)
};

} // namespace vxModel
