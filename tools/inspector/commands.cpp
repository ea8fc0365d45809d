#include "inspector/commands.h"

#include "inspector/map/map-command.h"
#include "inspector/options.h"
#include "inspector/reading/read-command.h"
#include "inspector/reading/scan-command.h"
#include "inspector/replay/replay-command.h"
#include "inspector/report/report-command.h"
#include "inspector/schema/json-schema.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace inspector {
namespace {

constexpr int highestAddress = 247;

void addJson(CLI::App& command, bool& target) {
    command.add_flag("--json", target, "One JSON document instead of text");
}

void addMoment(CLI::App& command, const char* name, std::optional<std::int64_t>& target,
               const char* text) {
    command
        .add_option_function<std::string>(
            name, [&target](const std::string& value) { target = momentOfOption(value); }, text)
        ->check(CLI::Validator(
            [](const std::string& value) {
                return momentOfOption(value) ? std::string()
                                             : "'" + value +
                                                   "' is no time such as 2026-11-22T18:00 "
                                                   "or -1h";
            },
            ""))
        ->type_name("TIME");
}

void addSpan(CLI::App& command, TimeSpan& span, const char* older, const char* newer) {
    addMoment(command, "--since", span.since, older);
    addMoment(command, "--until", span.until, newer);
}

void requireOrder(const TimeSpan& span) {
    if (span.since && span.until && *span.since >= *span.until)
        throw CLI::ValidationError("--since is not before --until");
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

void addReplay(CLI::App& app, Command& command) {
    CLI::App& replay =
        *app.add_subcommand("replay", "Turn a log into a home that modbus-house plays again");
    const auto options = std::make_shared<ReplayOptions>();
    replay
        .add_option("log", options->log, "Log at VX_LOG=modbusSerial:D or D; - is standard input")
        ->required()
        ->check(named());
    replay
        .add_option("-o,--output", options->output, "New file for the home; - is standard output")
        ->required()
        ->check(named())
        ->type_name("FILE");
    replay.add_flag("--force", options->force, "Replace the file if it is there");
    constexpr int mostRuns = 1000000;
    replay.add_option("--run", options->run, "Which run of the daemon (that with the most polls)")
        ->check(wholeNumber(1, mostRuns));
    addSpan(replay, options->span, "Leave out polls that began before, such as -1h",
            "Leave out polls that began then or later");
    replay.callback([options, &command] {
        requireOrder(options->span);
        command = [options] { return runReplay(*options); };
    });
}

void addReport(CLI::App& app, Command& command) {
    CLI::App& report = *app.add_subcommand("report", "Tell what a log of the reader says");
    const auto options = std::make_shared<ReportOptions>();
    report.add_option("log", options->logs, "The log; - is standard input")
        ->required()
        ->check(named())
        ->type_name("FILE");
    addSpan(report, options->span, "Leave out what was before, such as -1d",
            "Leave out what was then or later");
    report.add_option("--meter", options->meter, "Only this meter, by its address or id")
        ->check(named());
    addJson(report, options->json);
    report.add_flag("--html", options->html, "One page without outside references")
        ->excludes("--json");
    report.callback([options, &command] {
        if (std::count(options->logs.begin(), options->logs.end(), "-") > 1)
            throw CLI::ValidationError("Standard input can be read once only");
        requireOrder(options->span);
        command = [options] { return runReport(*options); };
    });
}

void addScan(CLI::App& app, Command& command) {
    CLI::App& scan = *app.add_subcommand("scan", "Find the meters that answer on a bus");
    const auto options = std::make_shared<ScanOptions>();
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

} // namespace inspector
