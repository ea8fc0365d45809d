#include "modbus/register-words.h"

#include <modbus/modbus.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <tuple>

namespace orv::modbusreader {
namespace {

using vxModel::ModbusDataType;

std::uint64_t unsigned64(const std::uint16_t* words) {
    return std::uint64_t{unsigned32(words)} << 32 | unsigned32(words + 2);
}

constexpr std::string_view zeroText = " 0";

/// The text of a buffer that is all zeros.
constexpr auto zeroWords = [] {
    std::array<char, zeroText.size() * std::tuple_size_v<RegisterBuffer>> text{};
    for (auto* p = text.begin(); p != text.end(); p += zeroText.size())
        std::copy(zeroText.begin(), zeroText.end(), p);
    return text;
}();

} // namespace

int dataCountMultiplier(ModbusDataType type) {
    switch (type) {
    case ModbusDataType::float32:
    case ModbusDataType::dateTime:
    case ModbusDataType::int32:
    case ModbusDataType::uint32:
        return 2;
    case ModbusDataType::int64:
    case ModbusDataType::uint64:
        return 4;
    default:
        return 1;
    }
}

std::uint32_t unsigned32(const std::uint16_t* words) {
    return std::uint32_t{words[0]} << 16 | words[1];
}

std::optional<float> decodeNumber(const std::uint16_t* words, ModbusDataType type) {
    switch (type) {
    case ModbusDataType::float32:
        return modbus_get_float_abcd(words);
    case ModbusDataType::int64:
        return static_cast<float>(static_cast<std::int64_t>(unsigned64(words)));
    case ModbusDataType::uint64:
        return static_cast<float>(unsigned64(words));
    case ModbusDataType::uint32:
        return static_cast<float>(unsigned32(words));
    case ModbusDataType::int32:
        return static_cast<float>(static_cast<std::int32_t>(unsigned32(words)));
    case ModbusDataType::uint16:
        return static_cast<float>(words[0]);
    default:
        return std::nullopt;
    }
}

std::string decodeText(const std::uint16_t* words, std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        for (const int byte : {words[i] >> 8, words[i] & 0xFF})
            if (byte != 0)
                text += static_cast<char>(byte);
    return text;
}

std::string wordsText(const RegisterBuffer& buffer, std::size_t used) {
    used = std::min(used, buffer.size());
    constexpr std::size_t longestText = std::string_view(" 65535").size();
    std::array<char, longestText * std::tuple_size_v<RegisterBuffer>> text;
    char* end = text.begin();
    for (std::size_t i = 0; i < used; ++i) {
        *end++ = ' ';
        end = std::to_chars(end, text.end(), buffer[i]).ptr;
    }
    end = std::copy_n(zeroWords.begin(), zeroText.size() * (buffer.size() - used), end);
    return {text.begin(), end};
}

} // namespace orv::modbusreader
