#include "inspector/solver/unreadable.h"

#include "inspector/solver/matching.h"
#include "modbus/register-words.h"

#include <algorithm>
#include <array>

namespace inspector {
namespace {

using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;

using Words = std::array<std::uint16_t, 4>;

/// How the words or bytes of a value may stand.
struct Order {
    const char* name;
    bool hasLittleEndianWords;
    bool hasSwappedBytes;
};

constexpr std::array orders = {Order{"little-endian words", true, false},
                               Order{"swapped bytes", false, true},
                               Order{"little-endian words with swapped bytes", true, true}};

constexpr std::array types = {ModbusDataType::uint64,  ModbusDataType::int64,
                              ModbusDataType::float32, ModbusDataType::uint32,
                              ModbusDataType::int32,   ModbusDataType::uint16};

/// Beyond this no chance is left.
constexpr double leastPlausibility = 12;

std::uint16_t swapped(std::uint16_t word) {
    return static_cast<std::uint16_t>(word << 8 | word >> 8);
}

Words inOrder(const std::uint16_t* words, std::size_t count, const Order& order) {
    Words result{};
    std::copy_n(words, count, result.begin());
    if (order.hasLittleEndianWords)
        std::reverse(result.begin(), result.begin() + static_cast<std::ptrdiff_t>(count));
    if (order.hasSwappedBytes)
        std::transform(result.begin(), result.end(), result.begin(), swapped);
    return result;
}

class Search {
public:
    Search(const Display& display, const char* space, std::vector<Unreadable>& found)
        : m_display(display),
          m_fieldType(display.isPower() ? ModbusFieldType::powerImport
                                        : ModbusFieldType::energyImport),
          m_space(space),
          m_found(found) {}

    void look(int address, const std::uint16_t* words, std::size_t size) {
        if (m_display.isSerial()) {
            lookForSerial(address, words, size);
            return;
        }
        for (const ModbusDataType type : types) {
            const auto count =
                static_cast<std::size_t>(orv::modbusreader::dataCountMultiplier(type));
            if (count > size)
                continue;
            for (const Order& order : orders) {
                const Words ordered = inOrder(words, count, order);
                // What reads the same in the daemon's own order is no news.
                if (std::equal(words, words + count, ordered.begin()) ||
                    (count == 1 && order.hasLittleEndianWords))
                    continue;
                add(address, order.name, type,
                    *orv::modbusreader::decodeNumber(ordered.data(), type));
            }
        }
        // Only below zero it differs from one without sign.
        if (static_cast<std::int16_t>(*words) < 0)
            add(address, "signed 16 bits", ModbusDataType::int16,
                static_cast<float>(static_cast<std::int16_t>(*words)));
    }

private:
    void add(int address, const char* order, ModbusDataType type, float raw) {
        for (const Match& match : matchesOf(m_display, m_fieldType, type, raw))
            if (match.plausibility > leastPlausibility)
                m_found.push_back({address, m_space, order, type, match.scale});
    }

    void lookForSerial(int address, const std::uint16_t* words, std::size_t size) {
        const std::size_t length = (m_display.text.size() + 1) / 2;
        if (length > size || length < 2)
            return;
        std::vector<std::uint16_t> ordered(words, words + length);
        std::transform(ordered.begin(), ordered.end(), ordered.begin(), swapped);
        if (orv::modbusreader::decodeText(ordered.data(), length) == m_display.text)
            m_found.push_back({address, m_space, "swapped bytes", ModbusDataType::ascii});
        const Words little = inOrder(words, 2, orders[0]);
        if (std::to_string(orv::modbusreader::unsigned32(little.data())) == m_display.text)
            m_found.push_back({address, m_space, "little-endian words", ModbusDataType::uint32});
    }

    const Display& m_display;
    ModbusFieldType m_fieldType;
    const char* m_space;
    std::vector<Unreadable>& m_found;
};

} // namespace

std::vector<Unreadable> unreadableFor(const Display& display, const WordSpaces& spaces) {
    std::vector<Unreadable> found;
    for (const auto& [name, blocks] :
         {std::pair("input", &spaces.input), std::pair("holding", &spaces.holding)}) {
        Search search(display, name, found);
        for (const auto& [address, words] : *blocks)
            for (std::size_t i = 0; i < words.size(); ++i)
                search.look(address + static_cast<int>(i), words.data() + i, words.size() - i);
    }
    return found;
}

} // namespace inspector
