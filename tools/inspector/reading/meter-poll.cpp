#include "inspector/reading/meter-poll.h"

#include "inspector/daemon/daemon-facts.h"
#include "modbus/register-words.h"
#include "modbus/serial-toolkit.h"
#include "vx/json.h"
#include "vx/record.h"
#include "vx/system.h"

#include <algorithm>
#include <thread>

namespace inspector {
namespace {

using orv::metering::readings::ModbusMeteringSystem;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

constexpr std::chrono::milliseconds pause(20);

/// Copies one number from a record to another.
struct CopyVisitor {
    const ModbusMeteringSystem& from;
    ModbusMeteringSystem& to;
    const std::string& wanted;

    template <class M, M member>
    void operator()(const char* key) {
        if (wanted == key)
            to.*member = from.*member;
    }
};

void copyMember(const ModbusMeteringSystem& from, ModbusMeteringSystem& to,
                const std::string& key) {
    CopyVisitor visitor{from, to, key};
    ModbusMeteringSystem::visitFields(visitor);
}

/// Text of one member as it stands in a message; empty if it is left out.
struct TextVisitor {
    const ModbusMeteringSystem& record;
    const std::string& wanted;
    std::string text = {};

    template <class M, M member>
    void operator()(const char* key) {
        if (wanted == key && !vx::detail::isLeftOut(record.*member))
            text = vx::toJson(vx::toJsonFragment(record.*member));
    }
};

std::string memberText(const ModbusMeteringSystem& record, const std::string& key) {
    TextVisitor visitor{record, key};
    ModbusMeteringSystem::visitFields(visitor);
    return visitor.text;
}

/// Fills in what the daemon makes of the words.
void decode(RegisterReading& reading, const std::uint16_t* words) {
    const FieldFacts& facts = factsOf(reading.entry.fieldType);
    if (!hasEffect(reading.entry.modbusDataType, reading.entry.fieldType))
        return;
    ModbusMeteringSystem alone;
    orv::modbusreader::decodeRegister(alone, words, reading.entry);
    reading.member = facts.member;
    for (const std::string& member : {facts.member, facts.memberOfNegative}) {
        const std::string text = memberText(alone, member);
        if (!text.empty()) {
            reading.member = member;
            reading.value = text;
        }
    }
    if (reading.value.empty())
        reading.value = reading.entry.fieldType == ModbusFieldType::tariffEnabled ? "false"
                        : reading.entry.fieldType == ModbusFieldType::serial      ? "\"\""
                                                                                  : "0";
}

} // namespace

bool MeterReading::isGood() const {
    return !message.empty() && std::all_of(registers.begin(), registers.end(), [](const auto& x) {
        return !x.answer || x.answer->isGood();
    });
}

RegisterReading MeterPoll::readRegister(MeterReading& reading, const ModbusRegister& entry) {
    RegisterReading result{.entry = entry, .moment = std::chrono::system_clock::now()};
    if (entry.fieldType == ModbusFieldType::serial && !reading.record.id.empty())
        return result;
    std::this_thread::sleep_for(pause);
    result.moment = std::chrono::system_clock::now();
    result.answer =
        m_bus.read(reading.slaveAddress, entry.registerType == vxModel::ModbusRegisterType::input,
                   entry.address, wordsOf(entry));
    if (!result.answer->isGood())
        return result;
    orv::modbusreader::RegisterBuffer buffer{};
    std::copy(result.answer->words.begin(), result.answer->words.end(), buffer.begin());
    orv::modbusreader::decodeRegister(reading.record, buffer.data(), entry);
    decode(result, buffer.data());
    return result;
}

MeterReading MeterPoll::read(int slaveAddress, const vxModel::ElectricityMeterConfig& model,
                             const std::string& listedSerial) {
    MeterReading reading{.slaveAddress = slaveAddress};
    ModbusMeteringSystem& record = reading.record;
    record.slaveAddress = static_cast<std::uint8_t>(slaveAddress);
    record.lastChanged = vx::now();
    record.meteringType = "modbus";
    for (const ModbusRegister& entry : model.registers) {
        if (m_stop) {
            reading.isEnded = true;
            return reading;
        }
        // The list counts as soon as a register asks for the serial, and not without one.
        if (entry.fieldType == ModbusFieldType::serial && !listedSerial.empty())
            record.id = orv::metering::readings::MeterId(listedSerial);
        reading.registers.push_back(readRegister(reading, entry));
    }
    const int key = record.slaveAddress;
    if (const auto previous = m_previous.find(key); previous != m_previous.end()) {
        for (const RegisterReading& x : reading.registers) {
            const FieldFacts& facts = factsOf(x.entry.fieldType);
            if (!x.answer || x.answer->isGood() || !facts.carried)
                continue;
            copyMember(previous->second, record, facts.member);
            copyMember(previous->second, record, facts.memberOfNegative);
        }
    }
    m_previous[key] = record;
    if (!record.id.empty())
        reading.message = vx::toJson(vx::toJsonFragment(record));
    return reading;
}

} // namespace inspector
