#include "inspector/reading/home-file.h"

#include "modbus/register-words.h"
#include "modbus/server-replies.h"
#include "vx/json.h"
#include "vx/record.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace inspector {
namespace {

using vxModel::ModbusDataType;
using Fragment = std::shared_ptr<json_object>;

Fragment object() {
    return vx::makeJsonFragment(json_object_new_object());
}

void add(const Fragment& target, const std::string& key, const Fragment& value) {
    json_object_object_add(target.get(), key.c_str(), json_object_get(value.get()));
}

template <class T>
void add(const Fragment& target, const std::string& key, const T& value) {
    add(target, key, vx::toJsonFragment(value));
}

/// The number that the words of one value stand for, also of types that the daemon can't decode.
/// The house has numbers in double precision, so those of 64 bits lose their low digits above 2^53.
double rawNumber(const RegisterReading& reading) {
    const auto& words = reading.answer->words;
    const ModbusDataType type = reading.entry.modbusDataType;
    if (type == ModbusDataType::float32)
        return static_cast<double>(*orv::modbusreader::decodeNumber(words.data(), type));
    std::uint64_t bits = 0;
    for (int i = 0; i < orv::modbusreader::dataCountMultiplier(type); ++i)
        bits = bits << 16 | words[static_cast<std::size_t>(i)];
    switch (type) {
    case ModbusDataType::int16:
        return static_cast<std::int16_t>(bits);
    case ModbusDataType::int32:
        return static_cast<std::int32_t>(bits);
    case ModbusDataType::int64:
        return static_cast<double>(static_cast<std::int64_t>(bits));
    default:
        return static_cast<double>(bits);
    }
}

/// What the register of a unit shows: a text as it stands, or the name of a signal.
Fragment shownBy(const RegisterReading& x, const std::string& name, const Fragment& signals) {
    const bool isRead = x.answer && x.answer->isGood();
    if (x.entry.modbusDataType == ModbusDataType::ascii) {
        Fragment text = object();
        add(text, "text",
            isRead ? orv::modbusreader::decodeText(x.answer->words.data(), x.answer->words.size())
                   : std::string());
        return text;
    }
    const Fragment signal = object();
    add(signal, "kind", std::string("constant"));
    // The house divides by the scale.
    add(signal, "value", isRead ? rawNumber(x) * static_cast<double>(x.entry.scaleValue) : 0.0);
    add(signals, name, signal);
    return vx::toJsonFragment(name);
}

Fragment behaviourOf(const std::vector<ReadMeter>& meters) {
    const Fragment signals = object();
    const Fragment units = object();
    for (const ReadMeter& meter : meters) {
        const std::string address = std::to_string(meter.meter.slaveAddress);
        const Fragment unit = object();
        for (const RegisterReading& x : meter.reading.registers) {
            const bool isInput = x.entry.registerType == vxModel::ModbusRegisterType::input;
            const std::string place =
                (isInput ? "input " : "holding ") + std::to_string(x.entry.address);
            std::string name = "unit ";
            name.append(address).append(" ").append(place);
            add(unit, place, shownBy(x, name, signals));
        }
        add(units, address, unit);
    }
    Fragment behaviour = object();
    constexpr double noon = 12;
    add(behaviour, "startHour", noon);
    add(behaviour, "signals", signals);
    add(behaviour, "units", units);
    return behaviour;
}

/// With what the daemon leaves out of its JSON, such as the address 0.
Fragment supportedReply(std::vector<vxModel::ElectricityMeterConfig> models) {
    const Fragment list = vx::makeJsonFragment(json_object_new_array());
    for (vxModel::ElectricityMeterConfig& model : models) {
        const Fragment registers = vx::makeJsonFragment(json_object_new_array());
        for (const vxModel::ModbusRegister& x : std::exchange(model.registers, {})) {
            const Fragment entry = vx::toJsonFragment(x);
            add(entry, "address", x.address);
            add(entry, "fieldType", x.fieldType);
            add(entry, "modbusDataType", x.modbusDataType);
            add(entry, "length", x.length);
            json_object_array_add(registers.get(), json_object_get(entry.get()));
        }
        const Fragment fragment = vx::toJsonFragment(model);
        add(fragment, "id", model.id);
        add(fragment, "registers", registers);
        json_object_array_add(list.get(), json_object_get(fragment.get()));
    }
    Fragment reply = object();
    add(reply, "data", list);
    return reply;
}

} // namespace

std::string homeOf(const std::vector<ReadMeter>& meters, const vxModel::SerialPortConfig& line) {
    orv::modbusreader::AttachedMetersReply attached;
    std::vector<vxModel::ElectricityMeterConfig> models;
    for (const ReadMeter& x : meters) {
        attached.data.push_back(x.meter);
        // The house shows its meters by name.
        if (x.meter.name.empty())
            attached.data.back().name = "Meter " + std::to_string(x.meter.slaveAddress);
        if (std::none_of(models.begin(), models.end(),
                         [&](const auto& model) { return model.id == x.model.id; }))
            models.push_back(x.model);
    }
    const Fragment server = object();
    add(server, "rtuconfig", orv::modbusreader::SerialPortConfigReply{line});
    add(server, "attached", attached);
    add(server, "supported", supportedReply(std::move(models)));
    const Fragment home = object();
    add(home, "server", server);
    add(home, "behaviour", behaviourOf(meters));
    return json_object_to_json_string_ext(home.get(), JSON_C_TO_STRING_PRETTY) + std::string("\n");
}

} // namespace inspector
