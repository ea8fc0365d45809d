#include "inspector/daemon/register-row.h"

#include "inspector/daemon/enum-names.h"
#include "inspector/output/number-text.h"

#include <bit>

namespace inspector {
namespace {

/// All of a register but its address.
std::uint64_t keyOf(const vxModel::ModbusRegister& x) {
    const std::uint64_t kinds = static_cast<std::uint64_t>(x.fieldType) << 24 |
                                static_cast<std::uint64_t>(x.modbusDataType) << 16 |
                                static_cast<std::uint64_t>(x.registerType) << 8 | x.length;
    return kinds << 32 | std::bit_cast<std::uint32_t>(x.scaleValue);
}

RegisterRow rowOf(const vxModel::ModbusRegister& x) {
    RegisterRow row;
    row.isInput = x.registerType == vxModel::ModbusRegisterType::input;
    row.function = row.isInput ? 4 : 3;
    row.words = wordsOf(x);
    row.dataType = nameOf(x.modbusDataType);
    row.fieldType = nameOf(x.fieldType);
    row.scale = shortest(x.scaleValue);
    row.isUsed = hasEffect(x.modbusDataType, x.fieldType);
    row.facts = &factsOf(x.fieldType);
    if (row.isUsed) {
        row.range = rangeOf(x);
        row.kilowattHoursOfOne = kilowattHoursOf(x, 1);
    }
    return row;
}

} // namespace

const RegisterRow& RegisterRows::of(const vxModel::ModbusRegister& aRegister) {
    const auto [row, isNew] = m_rows.try_emplace(keyOf(aRegister));
    if (isNew)
        row->second = rowOf(aRegister);
    return row->second;
}

} // namespace inspector
