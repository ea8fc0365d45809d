#include "inspector/solver/solve-report.h"

#include "inspector/daemon/enum-names.h"
#include "inspector/output/number-text.h"
#include "inspector/solver/reasons.h"

#include <algorithm>
#include <string>

namespace inspector {
namespace {

/// More than these nobody tries.
constexpr std::size_t mostPrinted = 10;

/// The entry as it stands in a map.
std::string entryText(const vxModel::ModbusRegister& entry) {
    return "{\"address\": " + std::to_string(entry.address) +
           ", \"fieldType\": " + quoted(nameOf(entry.fieldType)) +
           ", \"modbusDataType\": " + quoted(nameOf(entry.modbusDataType)) +
           ", \"length\": " + std::to_string(entry.length) +
           ", \"scaleValue\": " + shortest(entry.scaleValue) +
           ", \"registerType\": " + quoted(nameOf(entry.registerType)) + "}";
}

void printCandidate(Terminal& terminal, const Display& display, const Candidate& candidate) {
    terminal.line(terminal.bold(entryText(candidate.entry)));
    terminal.paragraph(reasonOf(display, candidate), 4);
    for (const vxModel::ModbusRegister& other : candidate.alike)
        terminal.paragraph("reads the same so far: " + nameOf(other.modbusDataType) +
                               " at address " + std::to_string(other.address),
                           4);
}

/// Those that read the same once, with the others beside the best one.
void printCandidates(Terminal& terminal, const Solution& solution) {
    std::vector<vxModel::ModbusRegister> told;
    std::size_t printed = 0;
    std::size_t left = solution.candidates.leftOut;
    for (const Candidate& x : solution.candidates.best) {
        if (std::find(told.begin(), told.end(), x.entry) != told.end())
            continue;
        if (++printed > mostPrinted) {
            ++left;
            continue;
        }
        printCandidate(terminal, solution.display, x);
        told.insert(told.end(), x.alike.begin(), x.alike.end());
    }
    if (left > 0)
        terminal.line("and " + std::to_string(left) +
                      " less plausible ones; a second reading (--again) tells more.");
}

void writeEntry(JsonOutput& output, const vxModel::ModbusRegister& entry) {
    output.beginObject();
    output.member("address", entry.address);
    output.member("fieldType", nameOf(entry.fieldType));
    output.member("modbusDataType", nameOf(entry.modbusDataType));
    output.member("length", entry.length);
    output.member("scaleValue", writtenScale(entry.scaleValue));
    output.member("registerType", nameOf(entry.registerType));
    output.endObject();
}

void writeCandidate(JsonOutput& output, const Display& display, const Candidate& candidate) {
    output.beginObject();
    output.key("register");
    writeEntry(output, candidate.entry);
    if (display.isSerial())
        output.member("value", candidate.reported.serial);
    else
        output.member("value", asWritten(display.inUnit(candidate.reported.number)));
    output.member("member", candidate.reported.member);
    output.member("reason", reasonOf(display, candidate));
    if (!candidate.alike.empty()) {
        output.key("alike");
        output.beginList();
        for (const vxModel::ModbusRegister& other : candidate.alike)
            writeEntry(output, other);
        output.endList();
    }
    output.endObject();
}

void writeUnreadable(JsonOutput& output, const Display& display, const Unreadable& unreadable) {
    output.beginObject();
    output.member("address", unreadable.address);
    output.member("space", unreadable.space);
    output.member("order", unreadable.order);
    output.member("modbusDataType", nameOf(unreadable.modbusDataType));
    output.member("scale", writtenScale(unreadable.scale));
    if (display.isSerial())
        output.member("value", display.text);
    else
        output.member("value", asWritten(valueOf(display, unreadable)));
    output.member("reason", reasonOf(display, unreadable));
    output.endObject();
}

} // namespace

void printSolution(Terminal& terminal, const Solution& solution) {
    const auto& [display, candidates, unreadable] = solution;
    if (candidates.best.empty())
        terminal.line("No register of these shows " + display.text + ".");
    printCandidates(terminal, solution);
    for (const Unreadable& x : unreadable.best)
        terminal.line(terminal.coloured(Severity::warning, "unreadable") + " " + x.space + " " +
                      std::to_string(x.address) + ": " + reasonOf(display, x) + ".");
    if (unreadable.leftOut > 0)
        terminal.line("and " + std::to_string(unreadable.leftOut) + " unreadable ones more.");
}

void writeSolution(JsonOutput& output, const Solution& solution) {
    const auto& [display, candidates, unreadable] = solution;
    output.beginObject();
    output.key("candidates");
    output.beginList();
    for (const Candidate& x : candidates.best)
        writeCandidate(output, display, x);
    output.endList();
    output.member("candidatesLeftOut", candidates.leftOut);
    output.key("unreadable");
    output.beginList();
    for (const Unreadable& x : unreadable.best)
        writeUnreadable(output, display, x);
    output.endList();
    output.member("unreadableLeftOut", unreadable.leftOut);
    output.endObject();
    output.finish();
}

} // namespace inspector
