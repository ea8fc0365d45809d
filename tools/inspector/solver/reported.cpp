#include "inspector/solver/reported.h"

#include "inspector/daemon/daemon-facts.h"
#include "modbus/serial-toolkit.h"

#include <type_traits>

namespace inspector {
namespace {

using orv::metering::readings::ModbusMeteringSystem;

/// Finds the number that isn't as in an empty record.
struct NumberVisitor {
    const ModbusMeteringSystem& record;
    Reported& reported;

    template <class M, M member>
    void operator()(const char* key) {
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(record.*member)>, double>) {
            if (record.*member == 0)
                return;
            reported.member = key;
            reported.number = record.*member;
        }
    }
};

} // namespace

Reported reportedOf(const vxModel::ModbusRegister& entry, std::span<const std::uint16_t> words) {
    ModbusMeteringSystem record;
    orv::modbusreader::decodeRegister(record, words.data(), entry);
    const FieldFacts& facts = factsOf(entry.fieldType);
    // A zero is left out of the message.
    Reported reported{.member = facts.member, .serial = record.id.text()};
    NumberVisitor visitor{record, reported};
    ModbusMeteringSystem::visitFields(visitor);
    if (facts.unit == "Ws")
        reported.number /= static_cast<double>(orv::modbusreader::scaleEnergy(1, 1));
    reported.flow = reported.member == facts.memberOfNegative ? -reported.number : reported.number;
    return reported;
}

} // namespace inspector
