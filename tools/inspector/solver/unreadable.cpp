#include "inspector/solver/unreadable.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/matching.h"
#include "inspector/solver/number-types.h"
#include "inspector/solver/places.h"
#include "modbus/register-words.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace inspector {
namespace {

using orv::modbusreader::dataCountMultiplier;
using vxModel::ModbusDataType;

constexpr std::size_t mostTold = 20;
/// Of those that share words, and so aren't told.
constexpr std::size_t mostKept = 1000;
/// What more places than this would show by chance isn't told.
constexpr double largestChance = 0.1;

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

std::uint16_t swapped(std::uint16_t word) {
    return static_cast<std::uint16_t>(word << 8 | word >> 8);
}

Words inOrder(std::span<const std::uint16_t> words, const Order& order) {
    Words result{};
    std::copy(words.begin(), words.end(), result.begin());
    if (order.hasLittleEndianWords)
        std::reverse(result.begin(), result.begin() + std::ssize(words));
    if (order.hasSwappedBytes)
        std::transform(result.begin(), result.end(), result.begin(), swapped);
    return result;
}

class Search {
public:
    explicit Search(const Readings& readings)
        : m_readings(readings),
          m_matching(readings),
          m_numbers(readings.size()),
          m_places(static_cast<double>(countOfWords(readings))) {}

    void look(const Place& place) {
        if (m_readings.front().display.isSerial()) {
            lookForSerial(place);
            return;
        }
        for (const ModbusDataType type : numberTypes)
            for (const Order& order : orders)
                lookForNumber(place, type, order);
        lookForSigned16(place);
    }

    Ranked<Unreadable> take() {
        Ranked<Unreadable> all = m_best.take();
        std::vector<Unreadable> told;
        for (const Unreadable& x : all.best)
            if (std::none_of(told.begin(), told.end(),
                             [&](const Unreadable& y) { return shareWords(x, y); }))
                told.push_back(x);
        if (told.size() > mostTold) {
            all.leftOut += told.size() - mostTold;
            told.resize(mostTold);
        }
        return {std::move(told), all.leftOut};
    }

private:
    static bool shareWords(const Unreadable& a, const Unreadable& b) {
        return a.space == b.space && a.address < b.address + b.words &&
               b.address < a.address + a.words;
    }

    void lookForNumber(const Place& place, ModbusDataType type, const Order& order) {
        const auto count = static_cast<std::size_t>(dataCountMultiplier(type));
        if (count > place.size() || (count == 1 && order.hasLittleEndianWords))
            return;
        bool isNews = false;
        for (std::size_t i = 0; i < m_numbers.size(); ++i) {
            const auto words = place.words[i].first(count);
            const Words ordered = inOrder(words, order);
            isNews = isNews || !std::equal(words.begin(), words.end(), ordered.begin());
            m_numbers[i] = *orv::modbusreader::decodeNumber(ordered.data(), type);
        }
        // What reads the same in the daemon's own order is none.
        if (isNews)
            addMatches(place, order.name, type, static_cast<int>(count));
    }

    void lookForSigned16(const Place& place) {
        bool isNews = false;
        for (std::size_t i = 0; i < m_numbers.size(); ++i) {
            const auto number = static_cast<std::int16_t>(place.words[i][0]);
            m_numbers[i] = static_cast<float>(number);
            isNews = isNews || number < 0;
        }
        // Only below zero it differs from one without sign.
        if (isNews)
            addMatches(place, "signed 16 bits", ModbusDataType::int16, 1);
    }

    void addMatches(const Place& place, const char* order, ModbusDataType type, int words) {
        m_matching.match(type, m_numbers,
                         [&](const Match& match) { add(place, order, type, words, match); });
    }

    void lookForSerial(const Place& place) {
        const Display& display = m_readings.back().display;
        lookForText(place, display, (display.text.size() + 1) / 2);
        lookForSerialNumber(place, display.text);
    }

    void lookForText(const Place& place, const Display& display, std::size_t length) {
        const auto words = place.words.back();
        if (length > words.size() || length < 2)
            return;
        std::vector<std::uint16_t> bytes(length);
        std::transform(words.begin(), words.begin() + std::ssize(bytes), bytes.begin(), swapped);
        if (display.showsSerial(orv::modbusreader::decodeText(bytes.data(), length)) &&
            !display.showsSerial(orv::modbusreader::decodeText(words.data(), length)))
            addSerial(place, orders[1].name, ModbusDataType::ascii, length);
    }

    void lookForSerialNumber(const Place& place, const std::string& text) {
        constexpr std::size_t length = 2;
        const auto words = place.words.back();
        if (words.size() < length || words[0] == words[1])
            return;
        const Words little = inOrder(words.first(length), orders[0]);
        if (std::to_string(orv::modbusreader::unsigned32(little.data())) == text)
            addSerial(place, orders[0].name, ModbusDataType::uint32, length);
    }

    void addSerial(const Place& place, const char* order, ModbusDataType type, std::size_t words) {
        constexpr double bitsOfWord = 16;
        add(place, order, type, static_cast<int>(words),
            {.plausibility = bitsOfWord * static_cast<double>(words)});
    }

    void add(const Place& place, const char* order, ModbusDataType type, int words,
             const Match& match) {
        const double chance = m_places * std::exp2(-match.plausibility);
        if (chance > largestChance || !m_best.counts(match.plausibility))
            return;
        m_best.add({place.address, std::string(place.space()), order, type, words, match.scale,
                    m_numbers.back(), match.plausibility, chance});
    }

    const Readings& m_readings;
    Matching m_matching;
    /// Of the place that is looked at, one for each reading.
    std::vector<float> m_numbers;
    double m_places;
    Best<Unreadable> m_best{mostKept};
};

} // namespace

Ranked<Unreadable> unreadableFor(const Readings& readings) {
    Search search(readings);
    forEachPlace(readings, [&](const Place& place) { search.look(place); });
    return search.take();
}

void dropReadable(std::vector<Unreadable>& unreadable, const std::vector<Candidate>& candidates) {
    const auto explains = [](const Candidate& x, const Unreadable& y) {
        const bool isInput = x.entry.registerType == vxModel::ModbusRegisterType::input;
        return x.plausibility > y.plausibility && (y.space == "input") == isInput &&
               x.entry.address < y.address + y.words &&
               y.address < x.entry.address + wordsOf(x.entry);
    };
    std::erase_if(unreadable, [&](const Unreadable& y) {
        return std::any_of(candidates.begin(), candidates.end(),
                           [&](const Candidate& x) { return explains(x, y); });
    });
}

} // namespace inspector
