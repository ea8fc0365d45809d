#include "inspector/replay/replay-command.h"

#include "inspector/input/sources.h"
#include "inspector/log/log-reader.h"
#include "inspector/log/source.h"
#include "inspector/output/safe-text.h"
#include "inspector/reading/new-file.h"
#include "inspector/replay/run-sorter.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <vector>

namespace inspector {
namespace {

constexpr const char* standardOutput = "-";

/// Why there is nothing to record.
std::string refusal(const RunSorter& runs, const ReplayOptions& options) {
    if (!runs.hasDebugLines())
        return "No debug lines of modbusSerial, so no words of registers: log with "
               "VX_LOG=modbusSerial:D "
               "or VX_LOG=D";
    if (options.run && *options.run > runs.runs())
        return "No run " + std::to_string(*options.run) + ", of " + std::to_string(runs.runs());
    if (runs.leftOut().beyond > 0)
        return "The first poll is larger than what the house takes; --since takes later ones";
    if (runs.leftOut().outside > 0)
        return "No poll within these times";
    return "No poll from its beginning on";
}

std::vector<std::string> notesOf(const RunSorter& runs, const LogReader::Counts& counts,
                                 const std::string& damage) {
    std::vector<std::string> notes = runs.kept()->notes();
    if (runs.runs() > 1) {
        notes.push_back("run " + std::to_string(runs.kept()->number) + " of " +
                        std::to_string(runs.runs()) + "; --run N takes another");
        notes.insert(notes.end(), runs.list().begin(), runs.list().end());
    }
    if (counts.forged > 0)
        notes.push_back("lines that only look like the reader's, within values: " +
                        std::to_string(counts.forged));
    if (counts.cut > 0)
        notes.push_back("lines that are cut: " + std::to_string(counts.cut));
    if (!damage.empty())
        notes.push_back("the log ends early: " + damage);
    return notes;
}

NewFile newFile(const ReplayOptions& options) {
    return NewFile(options.output == standardOutput ? std::nullopt : std::optional(options.output),
                   options.force ? NewFile::Existing::replaced : NewFile::Existing::refused);
}

} // namespace

int runReplay(const ReplayOptions& options) {
    const bool isFile = options.output != standardOutput;
    std::error_code isNone;
    if (isFile && std::filesystem::equivalent(options.log, options.output, isNone))
        throw UnreadableInput(options.output + ": it is the log itself");
    // Whether it may be written shows ahead of the log; Ctrl-C meanwhile leaves nothing of it.
    static_cast<void>(newFile(options));
    const std::unique_ptr<Source> source = openLog(options.log);
    LogReader reader(*source);
    RunSorter runs(options.run, options.span);
    for (Line line; reader.next(line);)
        runs.take(line);
    runs.end();
    if (runs.kept() == nullptr)
        throw UnreadableInput(options.log + ": " + refusal(runs, options));

    const std::vector<std::string> notes = notesOf(runs, reader.counts(), source->damage());
    for (const std::string& note : notes)
        std::cerr << "modbus-inspector: " << shownText(note) << '\n';
    NewFile file = newFile(options);
    std::fputs(runs.kept()->home(notes).c_str(), isFile ? file.file() : stdout);
    file.keep();
    return 0;
}

} // namespace inspector
