// Names and values of every named enumeration, beside a search of its table.

#include "fuzz.h"

#include "model/modbus.h"
#include "vx/enum.h"
#include "vx/exception.h"
#include "vx/system.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>

namespace {

template <class E>
void checkValue(std::int32_t value) {
    const vx::EnumTable table = vxEnum(E{});
    const auto* row =
        std::find_if(table.begin, table.end, [&](const auto& x) { return x.value == value; });
    const std::string expected(row == table.end ? "" : row->name);
    const E enumerator = static_cast<E>(value);
    VX_ASSERT(vx::fromEnum<std::string>(enumerator) == expected, table.name, value);
    VX_ASSERT(vx::str(enumerator) == expected, table.name, value);
    if (!expected.empty())
        VX_ASSERT(vx::toEnum<E>(expected) == enumerator, table.name, expected);
}

template <class E>
void checkName(const std::string& name) {
    const vx::EnumTable table = vxEnum(E{});
    const auto* row =
        std::find_if(table.begin, table.end, [&](const auto& x) { return x.name == name; });
    const std::int32_t expected = row == table.end ? 0 : row->value;
    const auto found = vx::tryToEnum<E>(name);
    VX_ASSERT(found.has_value() == (row != table.end), table.name, name);
    VX_ASSERT(static_cast<std::int32_t>(vx::toEnum<E>(name)) == expected, table.name, name);
    if (found)
        VX_ASSERT(vx::fromEnum<std::string>(*found) == name, table.name, name);
}

template <class... Enumerations>
void check(std::int32_t value, const std::string& name) {
    (checkValue<Enumerations>(value), ...);
    (checkName<Enumerations>(name), ...);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    FuzzedDataProvider input(data, size);
    const auto value = input.ConsumeIntegral<std::int32_t>();
    using namespace vxModel;
    check<ModbusFieldType, ModbusDataType, ModbusRegisterType, BaudRateType, Parity, DataBits,
          StopBits, MeterApplication, MeteringType, vx::LogSeverity, vx::Release,
          vx::Exception::Type>(value, input.ConsumeRemainingBytesAsString());
    return 0;
}
