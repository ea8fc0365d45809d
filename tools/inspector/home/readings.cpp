#include "inspector/home/readings.h"

#include "inspector/log/line.h"

#include <rapidjson/document.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace inspector {
namespace {

constexpr std::string_view idKey = "{\"id\":";
constexpr std::string_view addressKey = "\"slaveAddress\":";
constexpr std::string_view typeKey = "\"meteringType\":";
constexpr std::string_view timeKey = "\"lastChanged\":";
constexpr std::string_view tariffKey = ",\"tariffEnabled\":";
constexpr std::size_t momentSize = std::string_view("2026-11-14T03:24:08.123Z").size();

/// The text between quotes of a message.
std::string unquoted(std::string_view text) {
    if (text.size() >= 2 && text.find('\\') == std::string_view::npos)
        return std::string(text.substr(1, text.size() - 2));
    rapidjson::Document json;
    json.Parse(text.data(), text.size());
    return json.IsString() ? std::string(json.GetString(), json.GetStringLength())
                           : std::string(text);
}

/// The address that stands at the end of what is ahead of the type; an address of 0 is left out.
std::optional<int> takeAddress(std::string_view& text) {
    // What an id of a record holds may look alike.
    const std::size_t at = text.rfind(addressKey);
    if (at == std::string_view::npos)
        return std::nullopt;
    int address = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data() + at + addressKey.size(), last, address);
    if (error != std::errc() || std::string_view(end, last) != ",")
        return std::nullopt;
    text = text.substr(0, at);
    return address;
}

/// The id ahead of the address, between quotes in a message and without them in a record.
std::string idOf(std::string_view text, bool isMessage) {
    if (!text.starts_with(idKey) || !text.ends_with(','))
        return {};
    text.remove_prefix(idKey.size());
    text.remove_suffix(1);
    return isMessage ? unquoted(text) : std::string(text);
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
        // The daemon has none that is larger.
        const bool isNumber = std::abs(value) <= std::numeric_limits<float>::max();
        reading.values[member] = isNumber ? value : NAN;
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
    // Behind the type nothing is the meter's to choose.
    const std::size_t at = text.rfind(typeKey);
    if (!text.starts_with('{') || at == std::string_view::npos)
        return std::nullopt;
    auto rest = behind(text.substr(at), timeKey);
    if (!rest)
        return std::nullopt;
    const bool isMessage = rest->starts_with('"');
    if (isMessage)
        rest->remove_prefix(1);
    const auto time = momentOf(rest->substr(0, momentSize));
    if (!time)
        return std::nullopt;
    rest->remove_prefix(momentSize);
    if (isMessage && rest->starts_with('"'))
        rest->remove_prefix(1);
    LoggedReading reading;
    std::string_view meter = text.substr(0, at);
    reading.slaveAddress = takeAddress(meter).value_or(0);
    reading.id = idOf(meter, isMessage).substr(0, longestName);
    reading.time = *time;
    reading.tariffEnabled = rest->starts_with(tariffKey);
    if (reading.tariffEnabled)
        rest->remove_prefix(tariffKey.size());
    takeValues(*rest, reading);
    return reading;
}

} // namespace inspector
