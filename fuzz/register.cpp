// A register's words on their way to the message, beside a second, plain formulation in single
// precision.

#include "fuzz.h"

#include "modbus/register-words.h"
#include "modbus/serial-toolkit.h"
#include "vx/record.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <sstream>

using namespace orv::modbusreader;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

namespace {

struct Input {
    ModbusRegister aRegister;
    RegisterBuffer words{};
};

Input take(FuzzedDataProvider& data) {
    Input input;
    auto& x = input.aRegister;
    x.fieldType = static_cast<ModbusFieldType>(data.ConsumeIntegralInRange(0, 23));
    x.modbusDataType = static_cast<ModbusDataType>(data.ConsumeIntegralInRange(0, 11));
    x.length = data.ConsumeIntegral<std::uint8_t>();
    x.scaleValue = std::bit_cast<float>(data.ConsumeIntegral<std::uint32_t>());
    for (std::uint16_t& word : input.words)
        word = data.ConsumeIntegral<std::uint16_t>();
    return input;
}

std::optional<float> plainNumber(const RegisterBuffer& words, ModbusDataType type) {
    std::uint64_t bits = 0;
    for (int i = 0; i < 4; ++i)
        bits = bits << 16 | words[static_cast<std::size_t>(i)];
    const auto first32 = static_cast<std::uint32_t>(bits >> 32);
    switch (type) {
    case ModbusDataType::uint16:
        return static_cast<float>(bits >> 48);
    case ModbusDataType::int32:
        return static_cast<float>(std::bit_cast<std::int32_t>(first32));
    case ModbusDataType::uint32:
        return static_cast<float>(first32);
    case ModbusDataType::int64:
        return static_cast<float>(std::bit_cast<std::int64_t>(bits));
    case ModbusDataType::uint64:
        return static_cast<float>(bits);
    case ModbusDataType::float32:
        return std::bit_cast<float>(first32);
    default:
        return std::nullopt;
    }
}

bool isEnergy(ModbusFieldType type) {
    return type >= ModbusFieldType::energyImport && type <= ModbusFieldType::energyExportTariff6;
}

/// What the message tells of a measured value: each step in single precision.
float plainMeasured(const ModbusRegister& aRegister, float number) {
    float value = number * aRegister.scaleValue;
    if (isEnergy(aRegister.fieldType)) {
        value *= 3600.0F;
        value *= 1000.0F;
    }
    return value;
}

ModbusMeteringSystem plainReading(const Input& input) {
    const auto& [aRegister, words] = input;
    ModbusMeteringSystem reading;
    double* const energies[] = {
        &reading.energyConsumed,   &reading.energyProduced,   &reading.t1EnergyConsumed,
        &reading.t2EnergyConsumed, &reading.t3EnergyConsumed, &reading.t4EnergyConsumed,
        &reading.t5EnergyConsumed, &reading.t6EnergyConsumed, &reading.t1EnergyProduced,
        &reading.t2EnergyProduced, &reading.t3EnergyProduced, &reading.t4EnergyProduced,
        &reading.t5EnergyProduced, &reading.t6EnergyProduced};
    using orv::metering::readings::MeterId;
    if (aRegister.fieldType == ModbusFieldType::serial) {
        if (aRegister.modbusDataType == ModbusDataType::ascii) {
            std::string text;
            for (std::size_t i = 0; i < aRegister.length; ++i) {
                text += static_cast<char>(words[i] >> 8);
                text += static_cast<char>(words[i] & 0xFF);
            }
            std::erase(text, '\0');
            reading.id = MeterId(text);
        }
        if (aRegister.modbusDataType == ModbusDataType::uint32)
            reading.id = MeterId(std::to_string(words[0] * 65536LL + words[1]));
    }
    const auto number = plainNumber(words, aRegister.modbusDataType);
    if (!number)
        return reading;
    const float value = plainMeasured(aRegister, *number);
    if (isEnergy(aRegister.fieldType))
        *energies[static_cast<int>(aRegister.fieldType) -
                  static_cast<int>(ModbusFieldType::energyImport)] = value;
    if (aRegister.fieldType == ModbusFieldType::powerExport)
        reading.powerProduced = value;
    if (aRegister.fieldType == ModbusFieldType::powerImport)
        (value > 0 ? reading.powerConsumed : reading.powerProduced) = value > 0 ? value : -value;
    if (aRegister.fieldType == ModbusFieldType::tariffEnabled &&
        aRegister.modbusDataType == ModbusDataType::uint16)
        reading.tariffEnabled = words[0] != 0;
    return reading;
}

void checkWordsText(RegisterBuffer words, std::size_t used) {
    std::fill(words.begin() + static_cast<std::ptrdiff_t>(std::min(used, words.size())),
              words.end(), std::uint16_t{0});
    std::ostringstream expected;
    for (const std::uint16_t word : words)
        expected << ' ' << word;
    VX_ASSERT(wordsText(words, used) == expected.str(), used);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    FuzzedDataProvider provider(data, size);
    const Input input = take(provider);
    checkWordsText(input.words, input.aRegister.length);

    ModbusMeteringSystem reading;
    decodeRegister(reading, input.words.data(), input.aRegister);
    const std::string message = vx::toJson(vx::toJsonFragment(reading));
    const std::string expected = vx::toJson(vx::toJsonFragment(plainReading(input)));
    VX_ASSERT(message == expected, message, expected, input.aRegister);

    // What a receiver makes of it. Neither a negative zero nor null comes back as it went.
    const auto received = vx::fromJson<ModbusMeteringSystem>(message.c_str());
    if (message.find("null") == std::string::npos)
        VX_ASSERT(received == reading, message);
    return 0;
}
