#include "inspector/solver/solve-report.h"

#include "inspector/daemon/register-row.h"
#include "vx/enum.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace inspector {
namespace {

/// More than these nobody tries.
constexpr std::size_t mostPrinted = 10;

template <vx::NamedEnum E>
std::string nameOf(E value) {
    return vx::fromEnum<std::string>(value);
}

std::string number(double value) {
    std::array<char, 32> text;
    const int size = std::snprintf(text.data(), text.size(), "%.7g", value);
    return {text.data(), static_cast<std::size_t>(size)};
}

/// Single precision has no more digits than these to tell.
double asWritten(double value) {
    return std::strtod(number(value).c_str(), nullptr);
}

std::string reasonOf(const Display& display, const Candidate& candidate) {
    const std::string type = nameOf(candidate.entry.modbusDataType);
    if (display.isSerial())
        return type + " reads " + quoted(display.text);
    std::string reason = type + " " + candidate.raw + " x " + shortest(candidate.entry.scaleValue) +
                         " is " + number(candidate.value) + " " + display.unit;
    const double one = std::exp2(std::max(candidate.plausibility, 0.0));
    if (one < 2)
        return reason + ", as many other words would be";
    return reason + "; of " + std::to_string(std::llround(std::min(one, 1e15))) +
           " other words one would be";
}

void writeEntry(JsonOutput& output, const vxModel::ModbusRegister& entry) {
    output.beginObject();
    output.member("address", entry.address);
    output.member("fieldType", nameOf(entry.fieldType));
    output.member("modbusDataType", nameOf(entry.modbusDataType));
    output.member("length", entry.length);
    output.member("scaleValue", std::strtod(shortest(entry.scaleValue).c_str(), nullptr));
    output.member("registerType", nameOf(entry.registerType));
    output.endObject();
}

} // namespace

std::string entryText(const vxModel::ModbusRegister& entry) {
    return "{\"address\": " + std::to_string(entry.address) +
           ", \"fieldType\": " + quoted(nameOf(entry.fieldType)) +
           ", \"modbusDataType\": " + quoted(nameOf(entry.modbusDataType)) +
           ", \"length\": " + std::to_string(entry.length) +
           ", \"scaleValue\": " + shortest(entry.scaleValue) +
           ", \"registerType\": " + quoted(nameOf(entry.registerType)) + "}";
}

void printSolution(Terminal& terminal, const Display& display,
                   const std::vector<Candidate>& candidates,
                   const std::vector<Unreadable>& unreadable) {
    if (candidates.empty())
        terminal.line("No register of these shows " + display.text + ".");
    for (std::size_t i = 0; i < std::min(mostPrinted, candidates.size()); ++i) {
        terminal.line(terminal.bold(entryText(candidates[i].entry)));
        terminal.paragraph(reasonOf(display, candidates[i]), 4);
        for (const vxModel::ModbusRegister& other : candidates[i].alike)
            terminal.paragraph("reads the same so far: " + nameOf(other.modbusDataType) +
                                   " at address " + std::to_string(other.address),
                               4);
    }
    if (candidates.size() > mostPrinted)
        terminal.line("and " + std::to_string(candidates.size() - mostPrinted) +
                      " less plausible ones; a second reading (--again) tells more.");
    for (const Unreadable& x : unreadable)
        terminal.line(terminal.coloured(Severity::warning, "unreadable") + " " + x.space + " " +
                      std::to_string(x.address) + ": " + nameOf(x.modbusDataType) + " in " +
                      x.order + ", which the daemon can't read; no map helps.");
}

void writeSolution(JsonOutput& output, const Display& display,
                   const std::vector<Candidate>& candidates,
                   const std::vector<Unreadable>& unreadable) {
    output.beginObject();
    output.key("candidates");
    output.beginList();
    for (const Candidate& x : candidates) {
        output.beginObject();
        output.key("register");
        writeEntry(output, x.entry);
        output.key("value");
        if (display.isSerial())
            output.value(x.serial);
        else
            output.value(asWritten(x.value));
        output.member("reason", reasonOf(display, x));
        if (!x.alike.empty()) {
            output.key("alike");
            output.beginList();
            for (const vxModel::ModbusRegister& other : x.alike)
                writeEntry(output, other);
            output.endList();
        }
        output.endObject();
    }
    output.endList();
    output.key("unreadable");
    output.beginList();
    for (const Unreadable& x : unreadable) {
        output.beginObject();
        output.member("address", x.address);
        output.member("space", x.space);
        output.member("order", x.order);
        output.member("modbusDataType", nameOf(x.modbusDataType));
        output.member("scale", std::strtod(shortest(x.scale).c_str(), nullptr));
        output.endObject();
    }
    output.endList();
    output.endObject();
    output.finish();
}

} // namespace inspector
