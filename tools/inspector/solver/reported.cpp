#include "inspector/solver/reported.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/record-number.h"
#include "modbus/serial-toolkit.h"

namespace inspector {

Reported reportedOf(const vxModel::ModbusRegister& entry, std::span<const std::uint16_t> words) {
    orv::metering::readings::ModbusMeteringSystem record;
    orv::modbusreader::decodeRegister(record, words.data(), entry);
    const FieldFacts& facts = factsOf(entry.fieldType);
    // A zero is left out of the message.
    Reported reported{.member = facts.member, .serial = record.id.text()};
    if (auto [key, number] = numberOf(record); number != 0) {
        reported.member = std::move(key);
        reported.number = number;
    }
    if (facts.unit == "Ws")
        reported.number /= static_cast<double>(orv::modbusreader::scaleEnergy(1, 1));
    reported.flow = reported.member == facts.memberOfNegative ? -reported.number : reported.number;
    return reported;
}

} // namespace inspector
