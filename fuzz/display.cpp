// What a display shows, looked for among the words of a meter at two times: each entry that is
// found shows it, decoded by the daemon's own code. The input is a line for each time, a byte for
// the field and the words.

#include "fuzz.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/candidates.h"
#include "inspector/solver/unreadable.h"
#include "modbus/register-words.h"
#include "modbus/serial-toolkit.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <tuple>

using namespace inspector;
using orv::metering::readings::ModbusMeteringSystem;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;
using vxModel::ModbusRegisterType;

namespace {

struct Shot {
    std::string display;
    WordSpaces spaces;
};

struct Input {
    Shot first;
    Shot later;
    std::optional<ModbusFieldType> fieldType;
};

std::string cutLine(std::string& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string line = text.substr(0, end);
    text.erase(0, end + 1);
    return line;
}

/// Half of them input registers at the end of their space, half of them holding registers.
WordSpaces spacesOf(std::string_view bytes) {
    constexpr int addresses = 65536;
    std::vector<std::uint16_t> words;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        words.push_back(static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[i]) << 8 |
                                                   static_cast<std::uint8_t>(bytes[i + 1])));
    const auto half = static_cast<std::ptrdiff_t>(words.size() / 2);
    WordSpaces spaces;
    if (half > 0)
        spaces.input[addresses - static_cast<int>(half)].assign(words.begin(),
                                                                words.begin() + half);
    if (!words.empty())
        spaces.holding[7].assign(words.begin() + half, words.end());
    return spaces;
}

Input take(std::string text) {
    constexpr std::size_t mostBytes = 24;
    Input input{{cutLine(text), {}}, {cutLine(text), {}}, std::nullopt};
    if (text.empty())
        return input;
    if (const int field = static_cast<std::uint8_t>(text[0]) % 22; field != 0)
        input.fieldType = static_cast<ModbusFieldType>(field);
    const std::string_view bytes = std::string_view(text).substr(1);
    const std::size_t half = std::min(bytes.size() / 2, mostBytes);
    input.first.spaces = spacesOf(bytes.substr(0, half));
    input.later.spaces = spacesOf(bytes.substr(half, half));
    return input;
}

/// What a display shows, in watts or kilowatt-hours, and one unit of its last digit.
struct Shown {
    double value = 0;
    double step = 0;
};

Shown plainlyShown(std::string text) {
    std::replace(text.begin(), text.end(), ',', '.');
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const std::string unit = text.substr(text.find_last_not_of("kMWh") + 1);
    const double factor = unit == "Wh" ? 0.001 : unit == "kW" || unit == "MWh" ? 1000 : 1;
    const std::string digits = text.substr(0, static_cast<std::size_t>(end - text.c_str()));
    const std::size_t point = std::min(digits.find('.'), digits.size() - 1);
    const auto decimals = static_cast<double>(digits.size() - 1 - point);
    return {number * factor, std::pow(10.0, -decimals) * factor};
}

/// Whether the display's unit is the field's.
bool fits(ModbusFieldType fieldType, const Display& display) {
    if (display.isSerial())
        return fieldType == ModbusFieldType::serial;
    return factsOf(fieldType).unit == (display.isPower() ? "W" : "Ws");
}

ModbusMeteringSystem decoded(const ModbusRegister& entry, const WordSpaces& spaces) {
    const auto& blocks =
        entry.registerType == ModbusRegisterType::input ? spaces.input : spaces.holding;
    VX_ASSERT(!blocks.empty(), entry);
    const std::vector<std::uint16_t>& words = blocks.begin()->second;
    const int offset = entry.address - blocks.begin()->first;
    const int count = entry.length * orv::modbusreader::dataCountMultiplier(entry.modbusDataType);
    VX_ASSERT(offset >= 0 && count > 0 && offset + count <= std::ssize(words), entry);
    orv::modbusreader::RegisterBuffer buffer{};
    std::copy_n(words.begin() + offset, count, buffer.begin());
    ModbusMeteringSystem record;
    orv::modbusreader::decodeRegister(record, buffer.data(), entry);
    return record;
}

struct Sum {
    const ModbusMeteringSystem& record;
    double numbers = 0;

    template <class M, M member>
    void operator()(const char*) {
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(record.*member)>, double>)
            numbers += record.*member;
    }
};

/// In watts or kilowatt-hours.
double numberOf(const ModbusMeteringSystem& record, ModbusFieldType fieldType) {
    constexpr double wattSecondsPerKilowattHour = 3600000;
    if (fieldType == ModbusFieldType::powerImport)
        return record.powerConsumed - record.powerProduced;
    if (fieldType == ModbusFieldType::powerExport)
        return record.powerProduced;
    Sum sum{record};
    ModbusMeteringSystem::visitFields(sum);
    return sum.numbers / wattSecondsPerKilowattHour;
}

void checkShows(const Display& display, const ModbusRegister& entry, const WordSpaces& spaces) {
    const ModbusMeteringSystem record = decoded(entry, spaces);
    if (display.isSerial()) {
        VX_ASSERT(record.id.text() == display.text || record.id.text() == display.text + " ", entry,
                  record, display.text);
        return;
    }
    const Shown shown = plainlyShown(display.text);
    const double number = numberOf(record, entry.fieldType);
    const double beyond = std::abs(number) - std::abs(shown.value);
    // Single precision leaves seven digits.
    const double slack = std::abs(shown.value) * 1e-6;
    VX_ASSERT(beyond >= -shown.step / 2 - slack, entry, number, display.text);
    VX_ASSERT(beyond <= shown.step + slack, entry, number, display.text);
    VX_ASSERT(number == 0 || shown.value == 0 || (number < 0) == (shown.value < 0), entry, number,
              display.text);
}

/// Of several readings each entry stands once, be it beside another.
void checkCandidates(const Readings& readings, const std::vector<Candidate>& candidates) {
    std::set<std::tuple<ModbusRegisterType, int, int, int, float>> entries;
    const auto check = [&](const ModbusRegister& x, bool isOnce) {
        const bool isNew = entries
                               .insert({x.registerType, x.address,
                                        static_cast<int>(x.modbusDataType), x.length, x.scaleValue})
                               .second;
        VX_ASSERT(isNew || !isOnce, x);
        for (const auto& [display, words] : readings)
            checkShows(display, x, words);
    };
    for (const Candidate& candidate : candidates)
        check(candidate.entry, true);
    for (const Candidate& candidate : candidates)
        for (const ModbusRegister& other : candidate.alike)
            check(other, readings.size() > 1);
    VX_ASSERT(std::ranges::is_sorted(candidates, std::greater(), &Candidate::plausibility));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A line of each number that is tried would take most of the time.
    static const bool isSilent = (silenceDaemon(), true);
    static_cast<void>(isSilent);
    const Input input = take(fuzz::textOf(data, size));
    Display first;
    Display later;
    try {
        first = readDisplay(input.first.display);
        later = readDisplay(input.later.display);
    } catch (const std::invalid_argument&) {
        return 0;
    }
    if (input.fieldType && !fits(*input.fieldType, first))
        return 0;
    Readings readings = {{first, input.first.spaces}};
    checkCandidates(readings, candidatesFor(readings, input.fieldType).best);
    unreadableFor(readings);
    if (!later.isAlike(first))
        return 0;
    readings.push_back({later, input.later.spaces});
    checkCandidates(readings, candidatesFor(readings, input.fieldType).best);
    unreadableFor(readings);
    return 0;
}
