#include "inspector/solver/solve-command.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/enum-names.h"
#include "inspector/input/sources.h"
#include "inspector/reading/interruption.h"
#include "inspector/reading/new-file.h"
#include "inspector/solver/candidates.h"
#include "inspector/solver/solve-report.h"
#include "inspector/solver/unreadable.h"
#include "inspector/solver/word-spaces.h"

#include <cstdio>
#include <stdexcept>

namespace inspector {
namespace {

Display displayOf(const std::string& text, const SolveOptions& options) {
    try {
        return options.fieldType == vxModel::ModbusFieldType::serial ? serialOnDisplay(text)
                                                                     : readDisplay(text);
    } catch (const std::invalid_argument& e) {
        throw UnreadableInput(e.what());
    }
}

/// On standard error, as it comes ahead of what may take long.
void tellHowLong(const SolveOptions& options) {
    const int requests = requestsOf(options.range);
    constexpr int manyRequests = 10;
    if (requests < manyRequests)
        return;
    std::fprintf(stderr, "Asking %d times, and more often for what the meter refuses", requests);
    if (options.bus.address.rtu)
        std::fprintf(stderr, "; the line alone takes %.0f s for it",
                     secondsOf(options.range, options.bus.address.line));
    std::fputs(".\n", stderr);
}

WordSpaces wordsNow(const SolveOptions& options) {
    endAtSignals();
    NewFile kept(options.keep);
    BusSession session(options.bus);
    tellHowLong(options);
    WordSpaces spaces =
        readWords(session.bus(), options.range, isEnding(), [](const std::string& failure) {
            std::fputs((failure + "; the other registers are looked at alone.\n").c_str(), stderr);
        });
    if (kept.file() != nullptr)
        std::fputs((toJson(spaces) + "\n").c_str(), kept.file());
    kept.keep();
    return spaces;
}

WordSpaces wordsOf(const std::optional<std::string>& file, const SolveOptions& options) {
    // All words of both spaces, each in a line of its own, are half of that.
    constexpr std::size_t megabytes = 4;
    return file ? readWordSpaces(readFile(*file, megabytes), *file) : wordsNow(options);
}

void requireFittingField(const Display& display,
                         std::optional<vxModel::ModbusFieldType> fieldType) {
    using vxModel::ModbusFieldType;
    if (!fieldType)
        return;
    const std::string& unit = factsOf(*fieldType).unit;
    const bool fits = display.isSerial()  ? *fieldType == ModbusFieldType::serial
                      : display.isPower() ? unit == "W"
                                          : unit == "Ws";
    if (!fits)
        throw UnreadableInput("A " + nameOf(*fieldType) + " is never \"" + display.text + "\"");
}

Readings readingsOf(const SolveOptions& options) {
    Readings readings = {{displayOf(options.display, options), {}}};
    requireFittingField(readings.front().display, options.fieldType);
    if (options.again)
        readings.push_back({displayOf(*options.again, options), {}});
    if (!readings.back().display.isAlike(readings.front().display))
        throw UnreadableInput("\"" + readings.back().display.text +
                              "\" is another kind of value than \"" +
                              readings.front().display.text + "\"");
    readings.front().words = wordsOf(options.words, options);
    if (options.again)
        readings.back().words = wordsOf(options.wordsAgain, options);
    return readings;
}

} // namespace

int runSolve(const SolveOptions& options) {
    const Readings readings = readingsOf(options);
    Solution solution{readings.back().display, candidatesFor(readings, options.fieldType),
                      unreadableFor(readings)};
    dropReadable(solution.unreadable.best, solution.candidates.best);
    if (options.json) {
        JsonOutput output(stdout);
        writeSolution(output, solution);
    } else {
        Terminal terminal(stdout);
        printSolution(terminal, solution);
    }
    return solution.candidates.best.empty() ? 1 : 0;
}

} // namespace inspector
