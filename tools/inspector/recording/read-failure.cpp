#include "inspector/recording/read-failure.h"

#include <modbus/modbus.h>

#include <charconv>
#include <cstring>

namespace inspector {
namespace {

constexpr std::string_view unknownError = "Unknown error ";

/// The error number of the Modbus library; 0 for one of the system.
int numberOf(std::string_view words) {
    if (!words.starts_with(unknownError))
        return 0;
    words.remove_prefix(unknownError.size());
    int number = 0;
    std::from_chars(words.data(), words.data() + words.size(), number);
    return number;
}

/// One that is not the unit's own.
int anotherUnit(int unit) {
    constexpr int last = 247;
    return unit % last + 1;
}

std::string nameOf(int number, int unit) {
    constexpr int beyondTheStandard = 255;
    const int exception = number - MODBUS_ENOBASE;
    if (exception >= 1 && exception < MODBUS_EXCEPTION_MAX)
        return "exception:" + std::to_string(exception);
    switch (number) {
    case EMBBADDATA:
        return "short";
    case EMBBADEXC:
        return "exception:" + std::to_string(beyondTheStandard);
    case EMBBADSLAVE:
        return "unit:" + std::to_string(anotherUnit(unit));
    default:
        return "garbled";
    }
}

} // namespace

bool goesOverTheBus(std::string_view words) {
    return numberOf(words) != EMBMDATA;
}

std::string failureOf(std::string_view words, int unit) {
    std::string name = "closed";
    if (words == std::strerror(ETIMEDOUT))
        name = "silent";
    else if (const int number = numberOf(words); number != 0)
        name = nameOf(number, unit);
    return '"' + name + '"';
}

} // namespace inspector
