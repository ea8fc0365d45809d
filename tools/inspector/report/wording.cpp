#include "inspector/report/wording.h"

#include "vx/date-time.h"
#include "vx/str.h"

#include <array>
#include <cstdio>

namespace inspector {

std::string utcText(Moment time) {
    return vx::toString(vx::DateTime(std::chrono::milliseconds(time)));
}

std::string localText(Moment time, int offsetMinutes) {
    if (time == 0)
        return "?";
    std::string text = utcText(time + Moment{offsetMinutes} * 60000);
    constexpr std::size_t upToSeconds = 19;
    text.resize(upToSeconds);
    text[10] = ' ';
    return text;
}

std::string durationText(Moment milliseconds) {
    struct Unit {
        const char* name;
        Moment length;
    };
    constexpr std::array<Unit, 4> units = {
        {{"d", 86400000}, {"h", 3600000}, {"min", 60000}, {"s", 1000}}};
    for (std::size_t i = 0; i + 1 < units.size(); ++i) {
        if (milliseconds < units[i].length)
            continue;
        const Moment rest = milliseconds % units[i].length / units[i + 1].length;
        std::string text = std::to_string(milliseconds / units[i].length) + " " + units[i].name;
        if (rest > 0)
            text += " " + std::to_string(rest) + " " + units[i + 1].name;
        return text;
    }
    return fixed(static_cast<double>(milliseconds) / 1000, 3) + " s";
}

std::string fixed(double number, int digits) {
    std::array<char, 400> text;
    const int size = std::snprintf(text.data(), text.size(), "%.*f", digits, number);
    return {text.data(), static_cast<std::size_t>(size)};
}

std::string fieldNameOf(const RegisterPlace& place) {
    return vx::str("", place.fieldType);
}

std::string nameOf(const RegisterPlace& place) {
    return (place.isInput ? "input " : "holding ") + std::to_string(place.address) + " " +
           fieldNameOf(place);
}

std::string nameOf(const Meter& meter) {
    std::string text = meter.slaveAddress ? std::to_string(*meter.slaveAddress) : "?";
    if (!meter.id.empty())
        text += ", " + meter.id;
    return meter.name.empty() ? "meter " + text : meter.name + " (" + text + ")";
}

std::string wordsOf(std::string_view lateAnswer) {
    if (lateAnswer == "shifted")
        return "values of a register at the next one, after a time-out";
    if (lateAnswer == "hasty")
        return "values sooner than the line carries them, from answers to earlier questions";
    if (lateAnswer == "answers-of-others")
        return "answers of other meters at several meters";
    return "no answer fits its request, at all meters";
}

} // namespace inspector
