#include "inspector/report/report-command.h"

#include "vx/date-time.h"

#include <array>
#include <charconv>
#include <ctime>
#include <string_view>

namespace inspector {
namespace {

constexpr std::int64_t millisecondsPerSecond = 1000;

std::optional<std::int64_t> secondsOf(std::string_view unit) {
    struct Unit {
        std::string_view name;
        std::int64_t seconds;
    };
    constexpr std::array<Unit, 5> units = {
        {{"s", 1}, {"m", 60}, {"min", 60}, {"h", 3600}, {"d", 86400}}};
    for (const Unit& x : units)
        if (x.name == unit)
            return x.seconds;
    return std::nullopt;
}

/// "-1h"
std::optional<std::int64_t> ago(std::string_view text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const auto unit = secondsOf({rest, static_cast<std::size_t>(end - rest)});
    constexpr std::int64_t longest = 100LL * 366 * 86400;
    if (error != std::errc() || !unit || number > 0 || number < -longest / *unit)
        return std::nullopt;
    const auto now =
        std::chrono::duration_cast<std::chrono::milliseconds>(vx::now().time_since_epoch());
    return now.count() + number * *unit * millisecondsPerSecond;
}

/// "Z" or "+01:00", in seconds.
std::optional<std::int64_t> zoneOf(std::string_view text) {
    if (text == "Z")
        return 0;
    const auto isDigit = [&](std::size_t at) { return text[at] >= '0' && text[at] <= '9'; };
    if (text.size() != 6 || text[3] != ':' || (text[0] != '+' && text[0] != '-') || !isDigit(1) ||
        !isDigit(2) || !isDigit(4) || !isDigit(5))
        return std::nullopt;
    const auto number = [&](std::size_t at) { return (text[at] - '0') * 10 + text[at + 1] - '0'; };
    const int hours = number(1);
    const int minutes = number(4);
    const std::int64_t seconds = hours * 3600 + minutes * 60;
    return text[0] == '-' ? -seconds : seconds;
}

} // namespace

std::optional<std::int64_t> momentOfOption(const std::string& text) {
    if (text.starts_with('-'))
        return ago(text);
    for (const char* format : {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M",
                               "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
        std::tm parts{};
        const char* const rest = strptime(text.c_str(), format, &parts);
        if (rest == nullptr)
            continue;
        parts.tm_isdst = -1;
        if (*rest == '\0')
            return std::int64_t{std::mktime(&parts)} * millisecondsPerSecond;
        if (const auto zone = zoneOf(rest))
            return (std::int64_t{timegm(&parts)} - *zone) * millisecondsPerSecond;
    }
    return std::nullopt;
}

} // namespace inspector
