#include "inspector/solver/solve-command.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/input/sources.h"
#include "inspector/reading/interruption.h"
#include "inspector/reading/new-file.h"
#include "inspector/solver/solve-report.h"
#include "inspector/solver/word-spaces.h"
#include "vx/enum.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace inspector {
namespace {

Display displayOf(const std::string& text) {
    try {
        return readDisplay(text);
    } catch (const std::invalid_argument& e) {
        throw UnreadableInput(e.what());
    }
}

WordSpaces wordsNow(const SolveOptions& options) {
    NewFile kept(options.keep);
    BusSession session(options.bus);
    endAtSignals();
    const WordSpaces spaces = readWords(session.bus(), options.range, isEnding());
    std::fputs((toJson(spaces) + "\n").c_str(), kept.file());
    kept.keep();
    return spaces;
}

WordSpaces wordsOf(const std::optional<std::string>& file, const SolveOptions& options) {
    return file ? readWordSpaces(readFile(*file), *file) : wordsNow(options);
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
        throw UnreadableInput("A " + vx::fromEnum<std::string>(*fieldType) + " is never \"" +
                              display.text + "\"");
}

} // namespace

int runSolve(const SolveOptions& options) {
    Display display = displayOf(options.display);
    requireFittingField(display, options.fieldType);
    WordSpaces words = wordsOf(options.words, options);
    auto candidates = candidatesFor(display, words, options.fieldType);
    auto unreadable = unreadableFor(display, words);
    if (options.again) {
        const Display again = displayOf(*options.again);
        if (again.isSerial() != display.isSerial() || again.isPower() != display.isPower())
            throw UnreadableInput("\"" + again.text + "\" is another kind of value than \"" +
                                  display.text + "\"");
        display = again;
        words = wordsOf(options.wordsAgain, options);
        candidates = stillFitting(candidates, display, words);
        const auto now = unreadableFor(display, words);
        std::erase_if(unreadable, [&](const Unreadable& x) {
            return std::find(now.begin(), now.end(), x) == now.end();
        });
    }
    if (options.json) {
        JsonOutput output(stdout);
        writeSolution(output, display, candidates, unreadable);
    } else {
        Terminal terminal(stdout);
        printSolution(terminal, display, candidates, unreadable);
    }
    return candidates.empty() ? 1 : 0;
}

} // namespace inspector
