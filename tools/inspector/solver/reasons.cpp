#include "inspector/solver/reasons.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/enum-names.h"
#include "inspector/output/finding.h"
#include "inspector/output/number-text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace inspector {
namespace {

std::string number(double value) {
    return rounded(value, 7);
}

/// "uint32 9 x 0.1 is 0.9 kWh".
std::string product(vxModel::ModbusDataType type, float raw, float scale, double value,
                    const Display& display) {
    return nameOf(type) + " " + rounded(static_cast<double>(raw), 9) + " x " + shortest(scale) +
           " is " + number(value) + " " + display.unit;
}

/// What becomes of the sign, if that isn't plain.
std::string signOf(const Display& display, const Candidate& candidate) {
    const auto& [entry, reported, raw, plausibility, alike] = candidate;
    const FieldFacts& facts = factsOf(entry.fieldType);
    const std::string value =
        number(std::abs(display.inUnit(reported.number))) + " " + display.unit;
    std::string text;
    if (reported.member == facts.memberOfNegative && reported.number != 0)
        text = ", which the daemon reports as " + reported.member + " " + value;
    else if (reported.number < 0)
        text = ", which the daemon reports as it is, a " + reported.member + " below zero";
    if (entry.scaleValue > 0)
        return text;
    text += "; the words have the other sign than the display, and the negative scale turns it";
    if (display.value <= 0)
        return text;
    text += ": what is above zero there is reported as ";
    if (facts.memberOfNegative.empty())
        return text + "a " + facts.member + " below zero";
    return text + facts.memberOfNegative + "; if the display only leaves out a sign, the scale " +
           shortest(-entry.scaleValue) + " is right, which reports " + facts.memberOfNegative +
           " " + value;
}

std::string rarityOf(const Candidate& candidate) {
    constexpr double mostWords = 1e15;
    if (candidate.raw == 0)
        return "; a zero tells neither scale nor place";
    const double one = std::exp2(std::max(candidate.plausibility, 0.0));
    if (one < 2)
        return "; as many other words would be";
    if (one > mostWords)
        return "; hardly any other words would be";
    return "; of " + std::to_string(std::llround(one)) + " other words one would be";
}

} // namespace

double asWritten(double value) {
    return std::strtod(number(value).c_str(), nullptr);
}

std::string reasonOf(const Display& display, const Candidate& candidate) {
    const vxModel::ModbusDataType type = candidate.entry.modbusDataType;
    if (display.isSerial()) {
        const std::string& serial = candidate.reported.serial;
        return nameOf(type) + " reads " + inspector::quoted(serial) +
               (serial == display.text ? "" : ", and the daemon reports the blank too");
    }
    return product(type, candidate.raw, candidate.entry.scaleValue,
                   display.inUnit(candidate.reported.flow), display) +
           signOf(display, candidate) + rarityOf(candidate);
}

double valueOf(const Display& display, const Unreadable& unreadable) {
    return display.inUnit(static_cast<double>(unreadable.raw * unreadable.scale));
}

std::string reasonOf(const Display& display, const Unreadable& unreadable) {
    constexpr double hardlyAny = 0.001;
    const bool isCertain = unreadable.chance < hardlyAny;
    const vxModel::ModbusDataType type = unreadable.modbusDataType;
    const std::string read = display.isSerial()
                                 ? nameOf(type) + " reads " + inspector::quoted(display.text)
                                 : product(type, unreadable.raw, unreadable.scale,
                                           valueOf(display, unreadable), display);
    return read + " in " + unreadable.order + ", which the daemon can't read, so no map helps; " +
           (isCertain ? "hardly a coincidence" : "it may be a coincidence");
}

} // namespace inspector
