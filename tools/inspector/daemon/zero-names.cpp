#include "inspector/daemon/zero-names.h"

#include "model/modbus.h"

namespace inspector {
namespace {

template <class E>
bool isOf(const vx::EnumTable& table) {
    return table.begin == vxEnum(E{}).begin;
}

} // namespace

ZeroName effectOfZero(const vx::EnumTable& table, std::string_view meant) {
    if (isOf<vxModel::ModbusFieldType>(table) || isOf<vxModel::ModbusDataType>(table))
        return {Severity::error, "it reads the register and drops it"};
    if (isOf<vxModel::ModbusRegisterType>(table))
        return {meant == "holding" ? Severity::hint : Severity::warning,
                "it reads a holding register"};
    if (isOf<vxModel::MeterApplication>(table))
        return {Severity::hint, "nothing depends on it"};
    return {Severity::error, noSerialLine};
}

} // namespace inspector
