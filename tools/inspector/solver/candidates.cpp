#include "inspector/solver/candidates.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/matching.h"
#include "modbus/register-words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <tuple>

namespace inspector {
namespace {

using orv::modbusreader::dataCountMultiplier;
using orv::modbusreader::decodeNumber;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

/// Wider ones first, and of two that read the same the one that meters use more.
constexpr std::array numberTypes = {ModbusDataType::uint64,  ModbusDataType::int64,
                                    ModbusDataType::float32, ModbusDataType::uint32,
                                    ModbusDataType::int32,   ModbusDataType::uint16};

std::string rawText(float number) {
    std::array<char, 32> text;
    const int size = std::snprintf(text.data(), text.size(), "%.9g", static_cast<double>(number));
    return {text.data(), static_cast<std::size_t>(size)};
}

/// Finds what the words of one space hold.
class Search {
public:
    Search(const Display& display, ModbusFieldType fieldType, ModbusRegisterType space,
           std::vector<Candidate>& found)
        : m_display(display), m_fieldType(fieldType), m_space(space), m_found(found) {}

    void look(int address, const std::vector<std::uint16_t>& words) {
        for (std::size_t i = 0; i < words.size(); ++i) {
            const auto at = static_cast<std::uint16_t>(address + static_cast<int>(i));
            if (m_display.isSerial())
                lookForSerial(at, words.data() + i, words.size() - i);
            else
                lookForNumber(at, words.data() + i, words.size() - i);
        }
    }

private:
    void lookForNumber(std::uint16_t address, const std::uint16_t* words, std::size_t size) {
        for (const ModbusDataType type : numberTypes) {
            if (static_cast<std::size_t>(dataCountMultiplier(type)) > size)
                continue;
            const float raw = *decodeNumber(words, type);
            for (const Match& match : matchesOf(m_display, m_fieldType, type, raw))
                m_found.push_back({.entry = {address, m_fieldType, type, 1, match.scale, m_space},
                                   .value = m_display.inUnit(match.value),
                                   .raw = rawText(raw),
                                   .plausibility = match.plausibility});
        }
    }

    void lookForSerial(std::uint16_t address, const std::uint16_t* words, std::size_t size) {
        constexpr std::size_t longest = 125;
        constexpr double bitsOfCharacter = 8;
        for (std::size_t length = 1; length <= std::min(size, longest); ++length) {
            const std::string text = orv::modbusreader::decodeText(words, length);
            if (text.size() > m_display.text.size())
                break;
            if (text == m_display.text && words[0] != 0) {
                addSerial({address, m_fieldType, ModbusDataType::ascii,
                           static_cast<std::uint8_t>(length), 1, m_space},
                          bitsOfCharacter * static_cast<double>(text.size()));
                break;
            }
        }
        constexpr std::size_t wordsOfNumber = 2;
        constexpr double bitsOfNumber = 32;
        if (size >= wordsOfNumber &&
            std::to_string(orv::modbusreader::unsigned32(words)) == m_display.text)
            addSerial({address, m_fieldType, ModbusDataType::uint32, 1, 1, m_space}, bitsOfNumber);
    }

    void addSerial(const ModbusRegister& entry, double plausibility) {
        m_found.push_back({.entry = entry,
                           .serial = m_display.text,
                           .raw = quotedRaw(),
                           .plausibility = plausibility});
    }

    std::string quotedRaw() const { return '"' + m_display.text + '"'; }

    const Display& m_display;
    ModbusFieldType m_fieldType;
    ModbusRegisterType m_space;
    std::vector<Candidate>& m_found;
};

ModbusFieldType usualField(const Display& display) {
    if (display.isSerial())
        return ModbusFieldType::serial;
    return display.isPower() ? ModbusFieldType::powerImport : ModbusFieldType::energyImport;
}

const WordSpaces::Blocks& blocksOf(const ModbusRegister& entry, const WordSpaces& spaces) {
    return entry.registerType == ModbusRegisterType::input ? spaces.input : spaces.holding;
}

/// The words from the entry's address on, and how many there are.
std::pair<const std::uint16_t*, std::size_t> wordsAt(const ModbusRegister& entry,
                                                     const WordSpaces& spaces) {
    const WordSpaces::Blocks& blocks = blocksOf(entry, spaces);
    auto block = blocks.upper_bound(entry.address);
    if (block == blocks.begin())
        return {nullptr, 0};
    --block;
    const auto offset = static_cast<std::size_t>(entry.address - block->first);
    if (offset >= block->second.size())
        return {nullptr, 0};
    return {block->second.data() + offset, block->second.size() - offset};
}

void rank(std::vector<Candidate>& candidates) {
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& a, const auto& b) { return a.plausibility > b.plausibility; });
}

/// The number that the entry's words hold, if they are there.
std::optional<float> rawOf(const ModbusRegister& entry, const WordSpaces& spaces) {
    const auto [words, size] = wordsAt(entry, spaces);
    if (size < static_cast<std::size_t>(dataCountMultiplier(entry.modbusDataType)))
        return std::nullopt;
    return decodeNumber(words, entry.modbusDataType);
}

/// The address behind the last word, where numbers of all widths end.
int endOf(const ModbusRegister& entry) {
    return entry.address + wordsOf(entry);
}

} // namespace

std::vector<Candidate> candidatesFor(const Display& display, const WordSpaces& spaces,
                                     std::optional<ModbusFieldType> fieldType) {
    std::vector<Candidate> found;
    const ModbusFieldType field = fieldType.value_or(usualField(display));
    for (const auto& [space, blocks] : {std::pair(ModbusRegisterType::input, &spaces.input),
                                        std::pair(ModbusRegisterType::holding, &spaces.holding)}) {
        Search search(display, field, space, found);
        for (const auto& [address, words] : *blocks)
            search.look(address, words);
    }
    rank(found);
    return found;
}

std::vector<Candidate> stillFitting(const std::vector<Candidate>& earlier, const Display& display,
                                    const WordSpaces& spaces) {
    std::vector<Candidate> fitting;
    // By space, end, scale and both numbers: what reads the same.
    std::map<std::tuple<ModbusRegisterType, int, float, std::string>, std::size_t> places;
    for (Candidate candidate : earlier) {
        ModbusRegister& entry = candidate.entry;
        if (display.isSerial()) {
            const auto now = candidatesFor(display, spaces, entry.fieldType);
            if (std::any_of(now.begin(), now.end(),
                            [&](const auto& x) { return x.entry == entry; }))
                fitting.push_back(candidate);
            continue;
        }
        const auto raw = rawOf(entry, spaces);
        if (!raw)
            continue;
        const double value = reportedNumber(entry.fieldType, *raw, entry.scaleValue);
        if (!display.shows(value))
            continue;
        const std::string both = candidate.raw + " " + rawText(*raw);
        candidate.value = display.inUnit(value);
        candidate.raw = rawText(*raw);
        const auto [place, isNew] = places.try_emplace(
            {entry.registerType, endOf(entry), entry.scaleValue, both}, fitting.size());
        if (isNew)
            fitting.push_back(candidate);
        else
            fitting[place->second].alike.push_back(entry);
    }
    return fitting;
}

} // namespace inspector
