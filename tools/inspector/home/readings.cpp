#include "inspector/home/readings.h"

#include "inspector/log/line.h"

#include <cmath>

namespace inspector {
namespace {

constexpr std::string_view idKey = "{\"id\":";
constexpr std::string_view addressKey = "\"slaveAddress\":";
constexpr std::string_view timeKey = "\"lastChanged\":";
constexpr std::string_view tariffKey = ",\"tariffEnabled\":";
constexpr std::size_t momentSize = std::string_view("2026-11-14T03:24:08.123Z").size();

/// Between quotes in a message, without them in a record.
std::string idOf(std::string_view text) {
    if (text.ends_with(','))
        text.remove_suffix(1);
    if (text.size() < 2 || !text.starts_with('"') || !text.ends_with('"'))
        return std::string(text);
    text = text.substr(1, text.size() - 2);
    std::string id;
    for (std::size_t i = 0; i < text.size(); ++i) {
        constexpr std::string_view escaped = "\\\"/";
        if (text[i] == '\\' && i + 1 < text.size() &&
            escaped.find(text[i + 1]) != std::string_view::npos)
            ++i;
        id += text[i];
    }
    return id;
}

/// Takes `"powerConsumed":1500.5` and the like one after another; their order is fixed.
void takeValues(std::string_view text, LoggedReading& reading) {
    std::size_t member = 0;
    for (std::size_t at = text.find('"'); at != std::string_view::npos; at = text.find('"', at)) {
        const std::size_t end = text.find('"', ++at);
        if (end == std::string_view::npos)
            return;
        while (member < measuredMembers.size() &&
               measuredMembers[member] != text.substr(at, end - at))
            ++member;
        if (member == measuredMembers.size())
            return;
        const double value = numberBehind(text.substr(end, 40), ":").value_or(NAN);
        reading.values[member] = std::isfinite(value) ? value : NAN;
        at = end + 1;
    }
}

} // namespace

std::optional<Moment> momentOf(std::string_view text) {
    // The time of a line, less its brackets, and with another sign for UTC.
    if (text.size() != momentSize || !text.ends_with('Z'))
        return std::nullopt;
    std::string line = "[";
    line.append(text.substr(0, text.size() - 1)).append("+00:00] 1 INFO  x x");
    const Line parsed = parseLine(line);
    return parsed.kind == LineKind::log ? std::optional(parsed.time) : std::nullopt;
}

std::optional<LoggedReading> readingOf(std::string_view text) {
    const std::size_t at = text.find(addressKey);
    const auto address = wholeBehind(text, addressKey);
    if (!text.starts_with('{') || !address)
        return std::nullopt;
    auto rest = behind(text.substr(at), timeKey);
    if (!rest)
        return std::nullopt;
    if (rest->starts_with('"'))
        rest->remove_prefix(1);
    const auto time = momentOf(rest->substr(0, momentSize));
    if (!time)
        return std::nullopt;
    rest->remove_prefix(momentSize);
    if (rest->starts_with('"'))
        rest->remove_prefix(1);
    LoggedReading reading;
    if (text.starts_with(idKey))
        reading.id = idOf(text.substr(idKey.size(), at - idKey.size())).substr(0, longestName);
    reading.slaveAddress = static_cast<int>(*address);
    reading.time = *time;
    reading.tariffEnabled = rest->starts_with(tariffKey);
    if (reading.tariffEnabled)
        rest->remove_prefix(tariffKey.size());
    takeValues(*rest, reading);
    return reading;
}

} // namespace inspector
