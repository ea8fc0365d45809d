#include "inspector/solver/candidates.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/matching.h"
#include "inspector/solver/number-types.h"
#include "inspector/solver/places.h"
#include "modbus/register-words.h"

#include <modbus/modbus.h>

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

namespace inspector {
namespace {

using orv::modbusreader::dataCountMultiplier;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

/// More than these nobody tries.
constexpr std::size_t mostKept = 100;

ModbusRegisterType typeOf(const Place& place) {
    return place.isInput ? ModbusRegisterType::input : ModbusRegisterType::holding;
}

/// Keeps the entries under which the daemon reports what the display shows, each time.
class Proposals {
public:
    explicit Proposals(const Readings& readings) : m_readings(readings) {}

    void propose(const ModbusRegister& entry, const Place& place, float raw, double plausibility) {
        if (!m_best.counts(plausibility))
            return;
        Candidate candidate{.entry = entry, .raw = raw, .plausibility = plausibility};
        for (std::size_t i = 0; i < m_readings.size(); ++i) {
            candidate.reported = reportedOf(entry, place.words[i]);
            if (!isShown(candidate.reported, m_readings[i].display)) {
                m_best.forget();
                return;
            }
        }
        m_best.add(std::move(candidate));
    }

    Ranked<Candidate> take() { return m_best.take(); }

private:
    static bool isShown(const Reported& reported, const Display& display) {
        return display.isSerial() ? display.showsSerial(reported.serial)
                                  : display.shows(reported.flow);
    }

    const Readings& m_readings;
    Best<Candidate> m_best{mostKept};
};

void lookForNumbers(const Readings& readings, ModbusFieldType fieldType, Proposals& proposals) {
    const Matching matching(readings);
    std::vector<float> numbers(readings.size());
    forEachPlace(readings, [&](const Place& place) {
        for (const ModbusDataType type : numberTypes) {
            if (static_cast<std::size_t>(dataCountMultiplier(type)) > place.size())
                continue;
            for (std::size_t i = 0; i < numbers.size(); ++i)
                numbers[i] = *orv::modbusreader::decodeNumber(place.words[i].data(), type);
            matching.match(type, numbers, [&](const Match& match) {
                proposals.propose({place.address, fieldType, type, 1, match.scale, typeOf(place)},
                                  place, numbers.back(), match.plausibility);
            });
        }
    });
}

/// How many words hold what the display shows from there on; 0 if they hold another text.
std::size_t wordsOfText(std::span<const std::uint16_t> words, const Display& display) {
    std::string read;
    for (std::size_t i = 0; i < words.size() && i < MODBUS_MAX_READ_REGISTERS; ++i) {
        read += orv::modbusreader::decodeText(words.data() + i, 1);
        // A serial doesn't begin with an empty word.
        if (read.empty())
            return 0;
        if (display.showsSerial(read))
            return i + 1;
        if (!display.text.starts_with(read))
            return 0;
    }
    return 0;
}

void lookForSerial(const Readings& readings, Proposals& proposals) {
    constexpr double bitsOfCharacter = 8;
    constexpr std::size_t wordsOfNumber = 2;
    constexpr double bitsOfNumber = 32;
    const Display& display = readings.back().display;
    const std::string& text = display.text;
    const double bitsOfText = bitsOfCharacter * static_cast<double>(text.size());
    forEachPlace(readings, [&](const Place& place) {
        const auto serial = [&](ModbusDataType type, std::size_t length) {
            return ModbusRegister{
                place.address, ModbusFieldType::serial, type, static_cast<std::uint8_t>(length), 1,
                typeOf(place)};
        };
        if (const std::size_t length = wordsOfText(place.words.back(), display); length > 0)
            proposals.propose(serial(ModbusDataType::ascii, length), place, 0, bitsOfText);
        if (place.size() >= wordsOfNumber &&
            std::to_string(orv::modbusreader::unsigned32(place.words.back().data())) == text)
            proposals.propose(serial(ModbusDataType::uint32, 1), place, 0, bitsOfNumber);
    });
}

/// Lets each candidate have those that read the same beside it.
void findAlike(std::vector<Candidate>& candidates) {
    // Numbers of all widths end at the same word.
    std::map<std::tuple<ModbusRegisterType, int, float, float>, std::vector<std::size_t>> groups;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const auto& [entry, reported, raw, plausibility, alike] = candidates[i];
        groups[{entry.registerType, entry.address + wordsOf(entry), entry.scaleValue, raw}]
            .push_back(i);
    }
    for (const auto& [key, group] : groups) {
        for (const std::size_t one : group)
            for (const std::size_t other : group)
                if (one != other)
                    candidates[one].alike.push_back(candidates[other].entry);
    }
}

/// Of those that read the same the best one stays.
void dropAlike(std::vector<Candidate>& candidates) {
    std::vector<ModbusRegister> dropped;
    std::erase_if(candidates, [&](const Candidate& x) {
        if (std::find(dropped.begin(), dropped.end(), x.entry) != dropped.end())
            return true;
        dropped.insert(dropped.end(), x.alike.begin(), x.alike.end());
        return false;
    });
}

ModbusFieldType usualField(const Display& display) {
    return display.isPower() ? ModbusFieldType::powerImport : ModbusFieldType::energyImport;
}

} // namespace

Ranked<Candidate> candidatesFor(const Readings& readings,
                                std::optional<ModbusFieldType> fieldType) {
    Proposals proposals(readings);
    const Display& display = readings.front().display;
    if (display.isSerial()) {
        lookForSerial(readings, proposals);
        return proposals.take();
    }
    lookForNumbers(readings, fieldType.value_or(usualField(display)), proposals);
    Ranked<Candidate> candidates = proposals.take();
    findAlike(candidates.best);
    if (readings.size() > 1)
        dropAlike(candidates.best);
    return candidates;
}

} // namespace inspector
