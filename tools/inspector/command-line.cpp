#include "inspector/command-line.h"

#include "inspector/bus/bus.h"
#include "inspector/bus/service-pause.h"
#include "inspector/commands.h"
#include "inspector/daemon/daemon-facts.h"
#include "inspector/input/sources.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>

namespace inspector {
namespace {

constexpr int readingFailed = 1;
constexpr int wrongUsage = 2;

std::string failureMessage(const CLI::App*, const CLI::Error& e) {
    return std::string("modbus-inspector: ") + e.what() +
           "\nRun modbus-inspector --help for more information.\n";
}

int carryOut(const Command& command) {
    try {
        const int status = command();
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
            throw std::system_error(errno, std::generic_category(), "standard output");
        return status;
    } catch (const ReadingError& e) {
        std::cerr << "modbus-inspector: " << e.what() << '\n';
        return readingFailed;
    } catch (const std::exception& e) {
        std::cerr << "modbus-inspector: " << e.what() << '\n';
        return wrongUsage;
    }
}

} // namespace

int run(int argc, char** argv) {
    CLI::App app("Tells what the Modbus reader makes of register maps and meters.");
    app.name("modbus-inspector");
    app.set_version_flag("--version", "modbus-inspector " MODBUS_INSPECTOR_VERSION);
    app.failure_message(failureMessage);
    app.require_subcommand(0, 1);
    Command command;
    addMap(app, command);
    addRead(app, command);
    addReplay(app, command);
    addScan(app, command);
    addSolve(app, command);
    addReport(app, command);
    addServe(app, command);
    addWatch(app, command);
    addSchema(app, command);
    try {
        app.parse(argc, argv);
        if (!command)
            throw CLI::RequiredError::Subcommand(1);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : wrongUsage;
    }
    silenceDaemon();
    const int status = carryOut(command);
    return ServicePause::hasLeftOneStopped() ? std::max(status, readingFailed) : status;
}

} // namespace inspector
