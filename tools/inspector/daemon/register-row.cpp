#include "inspector/daemon/register-row.h"

#include "vx/enum.h"

#include <array>
#include <charconv>

namespace inspector {

std::string shortest(float number) {
    std::array<char, 64> text;
    return {text.begin(), std::to_chars(text.begin(), text.end(), number).ptr};
}

RegisterRow RegisterRows::of(const vxModel::ModbusRegister& aRegister) {
    RegisterRow row;
    row.isInput = aRegister.registerType == vxModel::ModbusRegisterType::input;
    row.function = row.isInput ? 4 : 3;
    row.words = wordsOf(aRegister);
    row.dataType = vx::fromEnum<std::string>(aRegister.modbusDataType);
    row.fieldType = vx::fromEnum<std::string>(aRegister.fieldType);
    row.scale = shortest(aRegister.scaleValue);
    row.isUsed = hasEffect(aRegister.modbusDataType, aRegister.fieldType);
    row.facts = &factsOf(aRegister.fieldType);
    if (row.isUsed) {
        const auto [known, isNew] =
            m_ranges.try_emplace(row.dataType + ' ' + row.fieldType + ' ' + row.scale);
        if (isNew)
            known->second = rangeOf(aRegister);
        row.range = known->second;
    }
    return row;
}

} // namespace inspector
