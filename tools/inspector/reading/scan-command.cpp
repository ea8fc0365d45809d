#include "inspector/reading/scan-command.h"

#include "inspector/output/json-output.h"
#include "inspector/output/terminal.h"
#include "inspector/reading/interruption.h"
#include "inspector/reading/scan.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <unistd.h>

namespace inspector {
namespace {

std::vector<LineParameters> linesOf(const ScanOptions& options) {
    if (!options.allLines || options.bus.address.tcp)
        return {options.bus.address.line};
    std::vector<LineParameters> lines;
    for (const int baud : {9600, 19200, 38400, 57600, 115200})
        for (const char parity : {'E', 'N', 'O'})
            // Without parity a character has two stop bits, by the Modbus specification.
            lines.push_back({baud, parity, parity == 'N' ? 2 : 1});
    return lines;
}

std::string lineText(const LineParameters& line) {
    return std::to_string(line.baud) + " baud, 8" + line.parity + std::to_string(line.stopBits);
}

std::string durationText(std::chrono::duration<double> duration) {
    std::array<char, 32> text;
    const double seconds = duration.count();
    std::snprintf(text.data(), text.size(), seconds < 120 ? "%.1f s" : "%.0f minutes",
                  seconds < 120 ? seconds : seconds / 60);
    return text.data();
}

/// What lies ahead, told before the start.
std::string estimateOf(const ScanPlan& plan) {
    const int addresses = plan.lastAddress - plan.firstAddress + 1;
    std::string text =
        "Asking " + std::to_string(addresses) + (addresses == 1 ? " address" : " addresses");
    if (plan.lines.size() > 1)
        text += " at " + std::to_string(plan.lines.size()) + " settings of the line";
    return text + ", each for two registers; if nothing answers it takes " +
           durationText(plan.longest()) + ".\n";
}

/// Tells on standard error how far it is, at a terminal alone.
class Progress {
public:
    explicit Progress(std::size_t all) : m_all(all), m_isShown(isatty(STDERR_FILENO) != 0) {}

    void tell(std::size_t done) const {
        if (m_isShown)
            std::fprintf(stderr, "\r%zu of %zu ", done, m_all);
    }
    void clear() const {
        if (m_isShown)
            std::fprintf(stderr, "\r\x1b[K");
    }

private:
    std::size_t m_all;
    bool m_isShown;
};

void printFound(Terminal& terminal, const Found& found, bool isSerial) {
    std::string text =
        (found.isGarbled ? "Address " : "Meter ") + std::to_string(found.slaveAddress);
    if (isSerial)
        text += " at " + lineText(found.line);
    text += ": " + found.answer;
    if (found.isGarbled)
        text += isSerial ? "; there may be two meters on it, or the line has another setting"
                         : "; there may be two meters on it, or the line behind the gateway has "
                           "another setting, or it answers later than --time-out";
    terminal.line(text);
}

void writeList(JsonOutput& output, const std::vector<Found>& all, bool areGarbled, bool isSerial) {
    output.beginList();
    for (const Found& found : all) {
        if (found.isGarbled != areGarbled)
            continue;
        output.beginObject();
        output.member("slaveAddress", found.slaveAddress);
        if (isSerial) {
            output.member("baud", found.line.baud);
            output.member("parity", std::string(1, found.line.parity));
            output.member("stopBits", found.line.stopBits);
        }
        output.member("answer", found.answer);
        output.endObject();
    }
    output.endList();
}

void writeFound(const std::vector<Found>& all, bool isSerial, bool isComplete) {
    JsonOutput output(stdout);
    output.beginObject();
    output.key("found");
    writeList(output, all, false, isSerial);
    output.key("garbled");
    writeList(output, all, true, isSerial);
    output.member("complete", isComplete);
    output.endObject();
    output.finish();
}

} // namespace

int runScan(const ScanOptions& options) {
    // A slower meter is not found; a longer time for each of them would make the scan long.
    constexpr std::chrono::milliseconds shortTimeOut(200);
    BusOptions bus = options.bus;
    bus.timeOut = bus.timeOut.value_or(shortTimeOut);
    const ScanPlan plan{options.firstAddress, options.lastAddress, linesOf(options), *bus.timeOut};
    const bool isSerial = bus.address.rtu.has_value();
    BusSession session(bus);
    endAtSignals();
    std::fputs(estimateOf(plan).c_str(), stderr);
    Terminal terminal(stdout);
    const Progress progress(plan.questions());
    std::vector<Found> found;
    try {
        scan(session.bus(), plan, isEnding(), found, [&](std::size_t done, const Found* answering) {
            progress.clear();
            if (answering != nullptr && !options.json)
                printFound(terminal, *answering, isSerial);
            progress.tell(done);
        });
    } catch (const BusError&) {
        progress.clear();
        if (options.json)
            writeFound(found, isSerial, false);
        throw;
    }
    progress.clear();
    if (options.json) {
        writeFound(found, isSerial, !isEnding());
    } else if (isEnding()) {
        terminal.line("Ended ahead of time: the other addresses are unknown.");
    } else if (found.empty()) {
        terminal.line("Nothing answers.");
    }
    const bool isSound = std::none_of(found.begin(), found.end(), std::mem_fn(&Found::isGarbled));
    return found.empty() || !isSound || isEnding() ? 1 : 0;
}

} // namespace inspector
