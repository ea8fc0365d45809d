#include "inspector/solver/solve-command.h"

#include "inspector/input/sources.h"
#include "inspector/solver/solve-report.h"
#include "inspector/solver/word-spaces.h"

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

WordSpaces wordsOf(const std::string& file) {
    return readWordSpaces(readFile(file), file);
}

} // namespace

int runSolve(const SolveOptions& options) {
    Display display = displayOf(options.display);
    WordSpaces words = wordsOf(options.words);
    auto candidates = candidatesFor(display, words, options.fieldType);
    if (options.again) {
        const Display again = displayOf(*options.again);
        if (again.isSerial() != display.isSerial() || again.isPower() != display.isPower())
            throw UnreadableInput("\"" + again.text + "\" is another kind of value than \"" +
                                  display.text + "\"");
        display = again;
        words = wordsOf(*options.wordsAgain);
        candidates = stillFitting(candidates, display, words);
    }
    const auto unreadable = unreadableFor(display, words);
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
