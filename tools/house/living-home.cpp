#include "house/living-home.h"

#include "house/register-words.h"
#include "house/serial-line.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

namespace house {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::array fieldTypes{
    "none",
    "powerImport",
    "powerExport",
    "energyImport",
    "energyExport",
    "energyImportTariff1",
    "energyImportTariff2",
    "energyImportTariff3",
    "energyImportTariff4",
    "energyImportTariff5",
    "energyImportTariff6",
    "energyExportTariff1",
    "energyExportTariff2",
    "energyExportTariff3",
    "energyExportTariff4",
    "energyExportTariff5",
    "energyExportTariff6",
    "model",
    "manufacturer",
    "dateTime",
    "serial",
    "tariffEnabled",
};
constexpr std::array registerTypes{"none", "input", "holding"};
constexpr std::array applications{"unitialized", "none", "solar", "wallbox", "battery"};

template <class Names>
bool holds(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

/// A register of a meter on the bus, and what it shows: a signal, or a text.
struct LiveRegister {
    int unit = 0;
    Space space = Space::holding;
    int address = 0;
    std::string dataType;
    int length = 0;
    double scaleValue = 1.0;
    const double* signal = nullptr;
    std::string text;

    Words words() const {
        if (signal == nullptr)
            return encodeText(length, text);
        return encodeNumber(dataType, length, *signal / scaleValue);
    }
    /// Its name among the behaviour of its unit.
    std::string key() const {
        return (space == Space::input ? "input " : "holding ") + std::to_string(address);
    }
};

namespace {

Space toSpace(const JsonPart& model) {
    const std::string type = model.text("registerType", "holding");
    if (!holds(registerTypes, type))
        model.at("registerType").fail("No such register type: " + type);
    return type == "input" ? Space::input : Space::holding;
}

double toScale(const JsonPart& model) {
    const double scale = model.number("scaleValue", 1.0);
    if (scale == 0.0)
        model.at("scaleValue").fail("Values are divided by it, so it cannot be 0");
    return scale;
}

/// A register as the map of its model has it, without what it shows.
LiveRegister toRegister(int unit, const JsonPart& model) {
    constexpr int lastAddress = 65535;
    constexpr int longestRead = 125;
    model.allowOnly(
        {"address", "fieldType", "modbusDataType", "length", "scaleValue", "registerType"});
    const std::string fieldType = model.text("fieldType", "none");
    if (!holds(fieldTypes, fieldType))
        model.at("fieldType").fail("No such field type: " + fieldType);
    const std::string dataType = model.text("modbusDataType");
    model.at("modbusDataType").check(isDataType(dataType), "No such data type: " + dataType);

    LiveRegister result;
    result.unit = unit;
    result.space = toSpace(model);
    result.address = model.at("address").whole(0, lastAddress);
    result.dataType = dataType;
    result.length = model.at("length").whole(1, longestRead);
    result.scaleValue = toScale(model);
    const auto words = static_cast<int>(wordCount(dataType, result.length));
    model.at("length").check(words <= longestRead, "No read takes more than 125 words");
    model.at("length").check(result.address + words - 1 <= lastAddress,
                             "Reaches beyond the last address, 65535");
    return result;
}

void show(LiveRegister& aRegister, const JsonPart& behaviour, const Signals& signals) {
    const JsonPart shown = behaviour.at(aRegister.key());
    if (shown.isText()) {
        aRegister.signal = &signals.reference(shown);
        return;
    }
    shown.allowOnly({"text"});
    aRegister.text = shown.text("text");
    shown.check(aRegister.dataType == "ascii",
                "Only a register of the data type ascii shows a text");
}

double toSpeed(const JsonPart& behaviour) {
    constexpr double fastest = 3600.0;
    const double speed = behaviour.number("speed", 1.0);
    if (speed <= 0.0 || speed > fastest)
        behaviour.at("speed").fail("Neither above 0 nor up to 3600");
    return speed;
}

double toStartHour(const JsonPart& behaviour) {
    const JsonPart hour = behaviour.at("startHour");
    hour.check(hour.number() >= 0.0 && hour.number() < 24.0, "No hour of the day");
    return hour.number();
}

} // namespace

LivingHome::LivingHome(const JsonPart& description)
    : m_server(description.at("server")),
      m_behaviour(description.at("behaviour")),
      m_speed(toSpeed(m_behaviour)),
      m_signals(m_behaviour.at("signals"), toStartHour(m_behaviour)) {
    description.allowOnly({"server", "behaviour"});
    m_server.allowOnly({"rtuconfig", "attached", "supported"});
    checkSerialLine(m_server.at("rtuconfig").at("data"));
    if (m_behaviour.isTrue("wireTime", false))
        m_wireTime = wireTimeOn(m_server.at("rtuconfig").at("data"));
    m_behaviour.allowOnly({"startHour", "speed", "wireTime", "signals", "units"});
    m_server.at("attached").at("data").forEach([&](const JsonPart& meter) { collectMeter(meter); });
    refuseUnusedBehaviour();
}

LivingHome::~LivingHome() = default;

void LivingHome::collectMeter(const JsonPart& meter) {
    meter.allowOnly({"id", "configId", "model", "manufacturer", "serial", "name", "tariffEnabled",
                     "isGlobal", "slaveAddress", "application"});
    meter.checkName("application", applications);
    const JsonPart address = meter.at("slaveAddress");
    const int unit = address.whole(1, 247);
    for (const Meter& other : m_meters)
        address.check(other.slaveAddress != unit, "Already that of the meter " + other.name);
    const std::string name = meter.text("name");
    const auto isControl = [](unsigned char byte) { return std::iscntrl(byte) != 0; };
    meter.at("name").check(std::none_of(name.begin(), name.end(), isControl),
                           "Holds control characters");
    m_meters.push_back({name, unit});
    collectRegisters(meter, unit);
}

void LivingHome::collectRegisters(const JsonPart& meter, int unit) {
    const JsonPart configId = meter.at("configId");
    const JsonPart behaviour = m_behaviour.at("units").at(std::to_string(unit));
    bool known = false;
    m_server.at("supported").at("data").forEach([&](const JsonPart& model) {
        if (model.text("id") != configId.text())
            return;
        known = true;
        model.allowOnly({"id", "displayName", "model", "manufacturer", "registers"});
        model.at("registers").forEach([&](const JsonPart& aRegister) {
            m_registers.push_back(toRegister(unit, aRegister));
            show(m_registers.back(), behaviour, m_signals);
        });
    });
    configId.check(known, "No such model: " + configId.text());
}

/// A misspelt address would otherwise pass in silence.
void LivingHome::refuseUnusedBehaviour() const {
    std::set<std::string> units;
    std::map<std::string, std::set<std::string>> registers;
    for (const Meter& meter : m_meters)
        units.insert(std::to_string(meter.slaveAddress));
    for (const LiveRegister& aRegister : m_registers)
        registers[std::to_string(aRegister.unit)].insert(aRegister.key());
    m_behaviour.at("units").forEachMember([&](const std::string& unit, const JsonPart& shown) {
        shown.check(units.contains(unit), "No meter has this slave address");
        shown.forEachMember([&](const std::string& key, const JsonPart& entry) {
            entry.check(registers[unit].contains(key), "The meter has no such register");
        });
    });
}

void LivingHome::follow(ModbusSlave& slave) {
    const std::lock_guard lock(m_mutex);
    const auto now = SteadyClock::now();
    m_signals.advance(m_speed * std::chrono::duration<double>(now - m_last).count());
    m_last = now;
    for (const LiveRegister& aRegister : m_registers)
        slave.unit(aRegister.unit).set(aRegister.space, aRegister.address, aRegister.words());
}

void LivingHome::serveOn(LocalServer& server) const {
    server.serve(LocalServer::rtuConfigPath, m_server.at("rtuconfig").json());
    server.serve(LocalServer::attachedPath, m_server.at("attached").json());
    server.serve(LocalServer::supportedPath, m_server.at("supported").json());
}

void LivingHome::liveOn(ModbusSlave& slave) {
    follow(slave);
    slave.beforeAnswer([this, &slave] { follow(slave); });
}

double LivingHome::hour() const {
    const std::lock_guard lock(m_mutex);
    // The signals follow when the bus asks for them.
    const std::chrono::duration<double, std::ratio<3600>> since = SteadyClock::now() - m_last;
    return std::fmod(m_signals.hour() + m_speed * since.count(), 24.0);
}

std::string LivingHome::moment() const {
    const int minutes = static_cast<int>(hour() * 60.0);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d in the home", minutes / 60 % 24,
                  minutes % 60);
    return text.data();
}

void LivingHome::advance(std::chrono::duration<double> time) {
    const std::lock_guard lock(m_mutex);
    m_signals.advance(time.count());
}

double LivingHome::value(const std::string& signal) const {
    const std::lock_guard lock(m_mutex);
    return m_signals.value(signal);
}

} // namespace house
