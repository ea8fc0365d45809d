#include "inspector/daemon/daemon-facts.h"

#include "inspector/daemon/record-number.h"
#include "metering/readings.h"
#include "modbus/register-words.h"
#include "modbus/serial-toolkit.h"
#include "vx/log.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace inspector {
namespace {

using orv::metering::readings::ModbusMeteringSystem;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

constexpr std::size_t dataTypes = static_cast<std::size_t>(ModbusDataType::dateTime) + 1;
constexpr double wattSecondsPerKilowattHour = 3600000;

/// Key and value of the number that @p value of a field becomes; an empty key if it becomes none.
std::pair<std::string, double> converted(ModbusFieldType fieldType, float value, float scale) {
    ModbusMeteringSystem record;
    orv::modbusreader::convertField(record, value, fieldType, scale);
    return numberOf(record);
}

/// Lets a poll fail whose predecessor was good, as there is no bus.
bool isCarried(ModbusFieldType fieldType) {
    constexpr int slaveAddress = 1;
    boost::asio::io_context ioContext;
    orv::modbusreader::SenderQueue queue(ioContext, "");
    orv::modbusreader::SerialConnection connection{orv::HttpClient(false), {}, ioContext, queue};
    connection.m_readIntervalUSec = 0;
    ModbusMeteringSystem& reading = connection.m_readings[slaveAddress];
    orv::modbusreader::convertField(reading, 1, fieldType, 1);
    const auto before = numberOf(reading);
    connection.readMeter(slaveAddress, {.registers = {{.fieldType = fieldType}}});
    return numberOf(connection.m_readings[slaveAddress]) == before;
}

FieldFacts tryField(ModbusFieldType fieldType) {
    const auto [member, number] = converted(fieldType, 1, 1);
    if (member.empty()) {
        if (fieldType == ModbusFieldType::serial)
            return {.member = "id"};
        if (fieldType == ModbusFieldType::tariffEnabled)
            return {.member = "tariffEnabled"};
        return {};
    }
    FieldFacts facts{.member = member,
                     .unit = number == wattSecondsPerKilowattHour ? "Ws" : "W",
                     .carried = isCarried(fieldType)};
    if (const auto [other, ignored] = converted(fieldType, -1, 1); other != member)
        facts.memberOfNegative = other;
    return facts;
}

bool tryEffect(ModbusDataType dataType, ModbusFieldType fieldType) {
    // No number is zero, no text is empty, and as float it is 1.
    constexpr orv::modbusreader::RegisterBuffer words{0x3F80, 0, 0, 1};
    ModbusMeteringSystem record;
    orv::modbusreader::decodeRegister(
        record, words.data(),
        {.fieldType = fieldType, .modbusDataType = dataType, .length = 1, .scaleValue = 1});
    return record != ModbusMeteringSystem();
}

using Words = std::array<std::uint16_t, 4>;

Words largestOf(ModbusDataType dataType) {
    constexpr std::uint16_t most = 0xFFFF;
    switch (dataType) {
    case ModbusDataType::int32:
    case ModbusDataType::int64:
        return {0x7FFF, most, most, most};
    case ModbusDataType::float32:
        return {0x7F7F, most};
    default:
        return {most, most, most, most};
    }
}

/// To the next smaller number of single precision.
float stepBelow(float number) {
    return number - std::nextafter(number, 0.0F);
}

} // namespace

void silenceDaemon() {
    vx::Logger::instance().setLogFunction([](const char*, vx::LogSeverity, const std::string&) {});
    for (const auto& channel : vx::Logger::instance().channelSeverities())
        vx::Logger::instance().setChannelSeverity(channel.name, vx::LogSeverity::print);
}

const FieldFacts& factsOf(ModbusFieldType fieldType) {
    static const auto all = [] {
        std::array<FieldFacts, fieldTypes> facts;
        for (std::size_t i = 0; i < fieldTypes; ++i)
            facts[i] = tryField(static_cast<ModbusFieldType>(i));
        return facts;
    }();
    return all.at(static_cast<std::size_t>(fieldType));
}

bool hasEffect(ModbusDataType dataType, ModbusFieldType fieldType) {
    static const auto all = [] {
        std::array<std::array<bool, fieldTypes>, dataTypes> effects{};
        for (std::size_t i = 0; i < dataTypes; ++i)
            for (std::size_t j = 0; j < fieldTypes; ++j)
                effects[i][j] =
                    tryEffect(static_cast<ModbusDataType>(i), static_cast<ModbusFieldType>(j));
        return effects;
    }();
    return all.at(static_cast<std::size_t>(dataType)).at(static_cast<std::size_t>(fieldType));
}

bool hasNumber(ModbusDataType dataType) {
    const Words words{};
    return orv::modbusreader::decodeNumber(words.data(), dataType).has_value();
}

bool isTakenAddress(int slaveAddress, bool isTcp) {
    constexpr int highestAddress = 247;
    // Of a device that needs no address.
    constexpr int addressOfTcpDevice = 255;
    return (slaveAddress >= 0 && slaveAddress <= highestAddress) ||
           (isTcp && slaveAddress == addressOfTcpDevice);
}

int wordsOf(const ModbusRegister& aRegister) {
    return aRegister.length * orv::modbusreader::dataCountMultiplier(aRegister.modbusDataType);
}

Range rangeOf(const ModbusRegister& aRegister) {
    const auto largest = orv::modbusreader::decodeNumber(largestOf(aRegister.modbusDataType).data(),
                                                         aRegister.modbusDataType);
    if (!largest || factsOf(aRegister.fieldType).unit.empty())
        return {};
    const auto inMessage = [&](float raw) {
        return static_cast<float>(
            std::abs(converted(aRegister.fieldType, raw, aRegister.scaleValue).second));
    };
    const float most = inMessage(*largest);
    if (std::isinf(most) && !std::isinf(aRegister.scaleValue)) {
        // A larger number of the meter becomes an infinity, which the message can't hold.
        constexpr float mostFinite = std::numeric_limits<float>::max();
        return {mostFinite, stepBelow(mostFinite)};
    }
    const float step = stepBelow(*largest);
    const bool isWhole = aRegister.modbusDataType != ModbusDataType::float32;
    // One difference of two values tells nothing, as each multiplication rounds.
    return {most, std::max(stepBelow(most), inMessage(isWhole ? std::max(step, 1.0F) : step))};
}

double kilowattHoursOf(const ModbusRegister& aRegister, double raw) {
    return converted(aRegister.fieldType, static_cast<float>(raw), aRegister.scaleValue).second /
           wattSecondsPerKilowattHour;
}

} // namespace inspector
