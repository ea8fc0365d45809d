#include "inspector/command-line.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/map/map-command.h"
#include "inspector/solver/solve-command.h"

#include "vx/enum.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace inspector {
namespace {

constexpr int wrongUsage = 2;
constexpr const char* ownServer = "http://127.0.0.1:8088";

std::string failureMessage(const CLI::App*, const CLI::Error& e) {
    return std::string("modbus-inspector: ") + e.what() +
           "\nRun modbus-inspector --help for more information.\n";
}

CLI::Validator named() {
    return {
        [](const std::string& text) { return text.empty() ? "The name is empty" : std::string(); },
        ""};
}

/// An address as the daemon's, without a path.
CLI::Validator serverAddress() {
    return {[](const std::string& text) {
                const bool isGood = text.starts_with("http://") && text.size() > 7 &&
                                    text.find('/', 7) == std::string::npos;
                return isGood ? std::string() : "'" + text + "' is no address such as " + ownServer;
            },
            ""};
}

void addSources(CLI::App& command, Sources& sources) {
    const auto file = [&](const char* name, std::optional<std::string>& target, const char* text) {
        return command.add_option(name, target, text)->check(named())->type_name("FILE");
    };
    file("--supported", sources.supported,
         "Reply with the models, or one model; - is standard input");
    file("--attached", sources.attached, "Reply with the attached meters");
    file("--serial", sources.serial, "Reply with the serial parameters");
    file("--config", sources.config, "The configuration file");
    command
        .add_option("--server", sources.server,
                    "Ask the local server for what no file is given (" + std::string(ownServer) +
                        ")")
        ->expected(0, 1)
        ->default_str(ownServer)
        ->check(serverAddress())
        ->type_name("URL");
}

/// Throws `CLI::ValidationError`.
void requireSources(const Sources& sources) {
    int fromStandardInput = 0;
    bool any = sources.server.has_value();
    for (const auto* file :
         {&sources.supported, &sources.attached, &sources.serial, &sources.config}) {
        any = any || file->has_value();
        if (*file == "-")
            ++fromStandardInput;
    }
    if (!any)
        throw CLI::ValidationError(
            "map",
            "Nothing to look at: give --supported, --attached, --serial, --config or --server");
    if (fromStandardInput > 1)
        throw CLI::ValidationError("map", "Only one document can come from standard input");
}

CLI::Validator fieldType() {
    return {[](const std::string& text) {
                return vx::tryToEnum<vxModel::ModbusFieldType>(text)
                           ? std::string()
                           : "'" + text + "' is no field of a register";
            },
            ""};
}

CLI::App& addSolve(CLI::App& app, SolveOptions& options) {
    CLI::App& solve =
        *app.add_subcommand("solve", "Find the register that holds what the meter's display shows");
    solve.add_option("display", options.display, "Such as \"1651.91 kWh\", or the serial")
        ->required()
        ->check(named());
    solve.add_option("--words", options.words, "Words that were read; - is standard input")
        ->required()
        ->check(named())
        ->type_name("FILE");
    CLI::Option* again =
        solve.add_option("--again", options.again, "What the display shows some time later")
            ->check(named());
    CLI::Option* wordsAgain =
        solve.add_option("--words-again", options.wordsAgain, "The words of that time")
            ->check(named())
            ->type_name("FILE")
            ->needs(again);
    again->needs(wordsAgain);
    solve
        .add_option_function<std::string>(
            "--field",
            [&](const std::string& name) {
                options.fieldType = vx::tryToEnum<vxModel::ModbusFieldType>(name);
            },
            "Field of the entries, such as energyExport")
        ->check(fieldType())
        ->type_name("NAME");
    solve.add_flag("--json", options.json, "One JSON document instead of text");
    return solve;
}

} // namespace

int run(int argc, char** argv) {
    CLI::App app("Tells what the Modbus reader makes of register maps and meters.");
    app.name("modbus-inspector");
    app.set_version_flag("--version", "modbus-inspector " MODBUS_INSPECTOR_VERSION);
    app.failure_message(failureMessage);
    app.require_subcommand(1);
    MapOptions mapOptions;
    CLI::App& map =
        *app.add_subcommand("map", "Check a map, and what belongs to it, without a meter");
    addSources(map, mapOptions.sources);
    map.add_flag("--budget", mapOptions.budget, "How long a poll takes at least, and why");
    map.add_flag("--json", mapOptions.json, "One JSON document instead of text");
    SolveOptions solveOptions;
    CLI::App& solve = addSolve(app, solveOptions);
    try {
        app.parse(argc, argv);
        if (map.parsed())
            requireSources(mapOptions.sources);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : wrongUsage;
    }
    silenceDaemon();
    try {
        return solve.parsed() ? runSolve(solveOptions) : runMap(mapOptions);
    } catch (const UnreadableInput& e) {
        std::cerr << "modbus-inspector: " << e.what() << '\n';
        return wrongUsage;
    }
}

} // namespace inspector
