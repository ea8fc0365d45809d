#include "house/register-words.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace house {

namespace {

/// The bits of a number in the lowest part of 64.
using Encoder = std::uint64_t (*)(double);

// A double cannot hold the greatest 64-bit integers, so the range is tested before the conversion.
template <class Integer>
std::uint64_t whole(double number) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(number))
        return 0;
    if (number >= static_cast<double>(Limits::max()))
        return static_cast<std::uint64_t>(Limits::max());
    if (number <= static_cast<double>(Limits::min()))
        return static_cast<std::uint64_t>(Limits::min());
    return static_cast<std::uint64_t>(static_cast<Integer>(std::round(number)));
}

std::uint64_t single(double number) {
    return std::bit_cast<std::uint32_t>(static_cast<float>(number));
}

struct DataType {
    const char* name;
    std::size_t words;
    Encoder encode;
};

constexpr DataType dataTypes[] = {
    {"none", 1, whole<std::uint16_t>},     {"int16", 1, whole<std::int16_t>},
    {"uint16", 1, whole<std::uint16_t>},   {"int32", 2, whole<std::int32_t>},
    {"uint32", 2, whole<std::uint32_t>},   {"int64", 4, whole<std::int64_t>},
    {"uint64", 4, whole<std::uint64_t>},   {"float32", 2, single},
    {"ascii", 1, whole<std::uint16_t>},    {"bitmap", 1, whole<std::uint16_t>},
    {"dateTime", 2, whole<std::uint32_t>},
};

const DataType* tryToFind(const std::string& name) {
    const auto* const found =
        std::find_if(std::begin(dataTypes), std::end(dataTypes),
                     [&](const DataType& dataType) { return dataType.name == name; });
    return found != std::end(dataTypes) ? found : nullptr;
}

const DataType& find(const std::string& name) {
    const DataType* const found = tryToFind(name);
    if (found == nullptr)
        throw std::runtime_error("No such data type: " + name);
    return *found;
}

} // namespace

bool isDataType(const std::string& name) {
    return tryToFind(name) != nullptr;
}

std::size_t wordCount(const std::string& dataType, int length) {
    return find(dataType).words * static_cast<std::size_t>(length);
}

Words encodeNumber(const std::string& dataType, int length, double number) {
    const DataType& type = find(dataType);
    Words words(wordCount(dataType, length));
    const std::uint64_t bits = type.encode(number);
    for (std::size_t i = 0; i < std::min(type.words, words.size()); ++i)
        words[i] = static_cast<std::uint16_t>(bits >> 16 * (type.words - 1 - i));
    return words;
}

Words encodeText(int length, const std::string& text) {
    Words words(static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < std::min(text.size(), 2 * words.size()); ++i) {
        const unsigned byte = static_cast<unsigned char>(text[i]);
        words[i / 2] = static_cast<std::uint16_t>(words[i / 2] | (i % 2 == 0 ? byte << 8 : byte));
    }
    return words;
}

} // namespace house
