#include "inspector/commands.h"

#include "inspector/map/map-command.h"
#include "inspector/options.h"
#include "inspector/reading/read-command.h"
#include "inspector/reading/scan-command.h"
#include "inspector/schema/json-schema.h"
#include "inspector/solver/solve-command.h"
#include "vx/enum.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace inspector {
namespace {

constexpr int highestAddress = 247;

void addJson(CLI::App& command, bool& target) {
    command.add_flag("--json", target, "One JSON document instead of text");
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
    read.add_option("--slave", options->slave, "Address of the meter; else all that are attached")
        ->check(wholeNumber(0, 255));
    read.add_option("--model", options->model, "Id of its model")->check(named());
    read.add_option("--polls", options->polls, "Number of polls (1)")
        ->check(wholeNumber(1, mostPolls));
    read.add_option("--record", options->record, "New file for the whole conversation")
        ->check(named())
        ->type_name("FILE");
    read.add_option("--home", options->home, "New file with a home for modbus-house")
        ->check(named())
        ->type_name("FILE");
    addJson(read, options->json);
    read.callback([options, &command] {
        requireSources(options->sources);
        command = [options] { return runRead(*options); };
    });
}

void addScan(CLI::App& app, Command& command) {
    CLI::App& scan = *app.add_subcommand("scan", "Find the meters that answer on a bus");
    const auto options = std::make_shared<ScanOptions>();
    // A meter that is there answers within this time.
    options->bus.timeOut = std::chrono::milliseconds(200);
    addBus(scan, options->bus);
    scan.add_option("--from", options->firstAddress, "First address (1)")
        ->check(wholeNumber(1, highestAddress));
    scan.add_option("--to", options->lastAddress, "Last address (247)")
        ->check(wholeNumber(1, highestAddress));
    scan.add_flag("--all-lines", options->allLines, "At each of five rates and three parities");
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
    schema.callback([format, &command] {
        command = [format] {
            std::cout << schemaOf(*format);
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
    solve.add_option("--words", options->words, "Words that were read; - is standard input")
        ->required()
        ->check(named())
        ->type_name("FILE");
    CLI::Option* again =
        solve.add_option("--again", options->again, "What the display shows some time later")
            ->check(named());
    CLI::Option* wordsAgain =
        solve.add_option("--words-again", options->wordsAgain, "The words of that time")
            ->check(named())
            ->type_name("FILE")
            ->needs(again);
    again->needs(wordsAgain);
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
    solve.callback([options, &command] { command = [options] { return runSolve(*options); }; });
}

} // namespace inspector
