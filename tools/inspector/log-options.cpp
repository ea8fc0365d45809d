#include "inspector/commands.h"
#include "inspector/options.h"
#include "inspector/watch/watch-command.h"
#include "inspector/web/serve-command.h"

#include <memory>
#include <string>

// The options of what follows a log.

namespace inspector {
namespace {

/// Where the log comes from: one place.
void addLog(CLI::App& command, LogOptions& options) {
    CLI::Option* file =
        command.add_option("--log,log", options.file, "Log to follow; - is standard input")
            ->check(named())
            ->type_name("FILE");
    command
        .add_option_function<std::string>(
            "--journal", [&](const std::string& unit) { options.journal = unit; },
            "Follow what a unit writes into the journal (modbus-reader)")
        ->expected(0, 1)
        ->default_str("modbus-reader")
        ->check(named())
        ->type_name("UNIT")
        ->excludes(file);
}

void requireLog(const LogOptions& options) {
    if (!options.file && !options.journal)
        throw CLI::ValidationError("No log: give --log or --journal");
}

CLI::Validator endpoint() {
    return {[](const std::string& text) {
                return isEndpoint(text)
                           ? std::string()
                           : "'" + text + "' is no address and port such as 127.0.0.1:8090";
            },
            ""};
}

} // namespace

void addServe(CLI::App& app, Command& command) {
    CLI::App& serve = *app.add_subcommand(
        "serve", "Show the home of a log on a web page, and export its metrics");
    const auto options = std::make_shared<ServeOptions>();
    addLog(serve, options->log);
    serve.add_option("--listen", options->listen, "Where to listen (127.0.0.1:8090)")
        ->check(endpoint())
        ->type_name("ADDRESS:PORT");
    serve.add_option("--name", options->names, "Name by which browsers may call this machine")
        ->check(named());
    serve.callback([options, &command] {
        requireLog(options->log);
        command = [options] { return runServe(*options); };
    });
}

void addWatch(CLI::App& app, Command& command) {
    CLI::App& watch = *app.add_subcommand("watch", "Show the home of a log in the terminal");
    const auto options = std::make_shared<WatchOptions>();
    addLog(watch, options->log);
    watch.callback([options, &command] {
        requireLog(options->log);
        command = [options] { return runWatch(*options); };
    });
}

} // namespace inspector
