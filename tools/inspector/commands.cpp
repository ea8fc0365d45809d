#include "inspector/commands.h"

#include "inspector/map/map-command.h"
#include "inspector/options.h"
#include "inspector/reading/read-command.h"
#include "inspector/reading/scan-command.h"
#include "inspector/schema/json-schema.h"
#include "inspector/solver/solve-command.h"
#include "vx/enum.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace inspector {
namespace {

constexpr int highestAddress = 247;
constexpr int highestRegister = 65535;

void addJson(CLI::App& command, bool& target) {
    command.add_flag("--json", target, "One JSON document instead of text");
}

/// The words of one reading at most come from the bus, those of the last.
void requireWords(const SolveOptions& options, bool hasRange) {
    const bool hasBus = options.bus.address.tcp || options.bus.address.rtu;
    const bool isSecond = options.again.has_value();
    if (options.wordsAgain && !isSecond)
        throw CLI::ValidationError("--words-again needs --again");
    if (isSecond && !options.words)
        throw CLI::ValidationError("--again needs the --words of the first reading");
    const bool hasLast = isSecond ? options.wordsAgain.has_value() : options.words.has_value();
    if (hasLast && hasBus)
        throw CLI::ValidationError("Words from a file, or --tcp or --rtu: not both");
    if (!hasLast && !hasBus)
        throw CLI::ValidationError(isSecond ? "No words: give --words-again, --tcp or --rtu"
                                            : "No words: give --words, --tcp or --rtu");
    if (hasBus && !hasRange)
        throw CLI::ValidationError("Which registers: give --from and --to");
    if (hasRange && options.range.first > options.range.last)
        throw CLI::ValidationError("--from is behind --to");
    if (options.keep && !hasBus)
        throw CLI::ValidationError("--keep needs --tcp or --rtu");
}

CLI::Validator fieldType() {
    return {[](const std::string& text) {
                return vx::tryToEnum<vxModel::ModbusFieldType>(text)
                           ? std::string()
                           : "'" + text + "' is no field of a register";
            },
            ""};
}

} // namespace

void addMap(CLI::App& app, Command& command) {
    CLI::App& map =
        *app.add_subcommand("map", "Check a map, and what belongs to it, without a meter");
    const auto options = std::make_shared<MapOptions>();
    addSources(map, options->sources);
    map.add_flag("--budget", options->budget, "How long a poll takes at least, and why");
    addJson(map, options->json);
    map.callback([options, &command] {
        requireSources(options->sources);
        command = [options] { return runMap(*options); };
    });
}

void addRead(CLI::App& app, Command& command) {
    CLI::App& read = *app.add_subcommand("read", "Read meters as the daemon would, and explain it");
    const auto options = std::make_shared<ReadOptions>();
    addBus(read, options->bus);
    addSources(read, options->sources);
    constexpr int mostPolls = 100000;
    CLI::Option* slave = read.add_option("--slave", options->slave,
                                         "Address of the meter; else all that are attached")
                             ->check(wholeNumber(0, 255));
    read.add_option("--model", options->model, "Id of its model")->check(named())->needs(slave);
    read.add_option("--polls", options->polls, "Number of polls (1)")
        ->check(wholeNumber(1, mostPolls));
    addFile(read, "--record", options->record, "New file for the whole conversation");
    addFile(read, "--home", options->home, "New file with a home for modbus-house");
    addJson(read, options->json);
    read.callback([options, &command] {
        requireSources(options->sources);
        command = [options] { return runRead(*options); };
    });
}

void addScan(CLI::App& app, Command& command) {
    CLI::App& scan = *app.add_subcommand("scan", "Find the meters that answer on a bus");
    const auto options = std::make_shared<ScanOptions>();
    // A slower meter is not found; a longer time for each of them would make the scan long.
    options->bus.timeOut = std::chrono::milliseconds(200);
    addBus(scan, options->bus);
    scan.add_option("--from", options->firstAddress, "First address (1)")
        ->check(wholeNumber(1, highestAddress));
    scan.add_option("--to", options->lastAddress, "Last address (247)")
        ->check(wholeNumber(1, highestAddress));
    CLI::Option* allLines =
        scan.add_flag("--all-lines", options->allLines, "At each of five rates and three parities");
    allLines->needs(scan.get_option("--rtu"));
    for (const char* ofOneLine : {"--baud", "--parity", "--stop"})
        allLines->excludes(scan.get_option(ofOneLine));
    addJson(scan, options->json);
    scan.callback([options, &command] {
        if (!options->bus.address.tcp && !options->bus.address.rtu)
            throw CLI::ValidationError("No bus: give --tcp or --rtu");
        if (options->firstAddress > options->lastAddress)
            throw CLI::ValidationError("--from is behind --to");
        command = [options] { return runScan(*options); };
    });
}

void addSchema(CLI::App& app, Command& command) {
    CLI::App& schema = *app.add_subcommand("schema", "Print the JSON Schema of a format");
    const auto format = std::make_shared<std::string>();
    schema.add_option("format", *format, "supported, attached, serial, config or message")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>(formats().begin(), formats().end())));
    schema.add_flag("--json")->description("Changes nothing: it is JSON in any case");
    schema.callback([format, &command] {
        command = [format] {
            std::fputs(schemaOf(*format).c_str(), stdout);
            return 0;
        };
    });
}

void addSolve(CLI::App& app, Command& command) {
    CLI::App& solve =
        *app.add_subcommand("solve", "Find the register that holds what a meter's display shows");
    const auto options = std::make_shared<SolveOptions>();
    solve.add_option("display", options->display, "Such as \"1651.91 kWh\", or the serial")
        ->required()
        ->check(named());
    addFile(solve, "--words", options->words, "Words that were read; - is standard input");
    solve.add_option("--again", options->again, "What the display shows some time later")
        ->check(named());
    addFile(solve, "--words-again", options->wordsAgain, "The words of that time");
    addBus(solve, options->bus);
    solve.add_option("--slave", options->range.slaveAddress, "Address of the meter (1)")
        ->check(wholeNumber(0, 255));
    CLI::Option* from = solve.add_option("--from", options->range.first, "First register to read")
                            ->check(wholeNumber(0, highestRegister));
    CLI::Option* to = solve.add_option("--to", options->range.last, "Last register to read")
                          ->check(wholeNumber(0, highestRegister));
    addFile(solve, "--keep", options->keep, "New file for the words that were read");
    solve
        .add_option_function<std::string>(
            "--field",
            [options](const std::string& name) {
                options->fieldType = vx::tryToEnum<vxModel::ModbusFieldType>(name);
            },
            "Field of the entries, such as energyExport")
        ->check(fieldType())
        ->type_name("NAME");
    addJson(solve, options->json);
    solve.callback([options, from, to, &command] {
        requireWords(*options, from->count() > 0 && to->count() > 0);
        command = [options] { return runSolve(*options); };
    });
}

} // namespace inspector
