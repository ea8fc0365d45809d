#include "house/faults.h"
#include "house/home.h"
#include "house/watch.h"

#include <charconv>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace {

/// Decimal digits alone, as other forms would be read as octal or hexadecimal, and a sign as a huge
/// number.
CLI::Validator wholeNumber(unsigned from, unsigned to) {
    const std::string range = std::to_string(from) + " to " + std::to_string(to);
    const auto check = [=](std::string& text) {
        unsigned number = 0;
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || rest != end || number < from || number > to)
            return "'" + text + "' is no whole number from " + range;
        text = std::to_string(number);
        return std::string();
    };
    return {check, range};
}

CLI::Validator anyName() {
    const auto check = [](const std::string& text) {
        return text.empty() ? "The name is empty" : std::string();
    };
    return {check, ""};
}

CLI::Validator fault() {
    const auto check = [](const std::string& text) {
        return house::faults::isFault(text) ? std::string()
                                            : "'" + text + "' is none of " + house::faults::forms();
    };
    return {check, "", "fault"};
}

std::string failureMessage(const CLI::App*, const CLI::Error& e) {
    return std::string("modbus-house: ") + e.what() +
           "\nRun modbus-house --help for more information.\n";
}

/// Gives a status when there is nothing to run.
std::optional<int> readCommandLine(int argc, char** argv, house::WatchOptions& options) {
    CLI::App app("A simulated house: local server, Modbus meters and metering service.");
    app.set_version_flag("--version", "modbus-house " MODBUS_HOUSE_VERSION);
    app.failure_message(failureMessage);
    app.add_option("--home", options.homeFile, "JSON description of the home")->check(anyName());
    CLI::Option* tcp =
        app.add_option("--tcp", options.tcpPort, "Port of the bus on 127.0.0.1 (1502)")
            ->transform(wholeNumber(1, 65535));
    app.add_option("--rtu", options.rtuLink, "Serve a serial line and link its end at this path")
        ->check(anyName())
        ->excludes(tcp);
    CLI::Option* daemon =
        app.add_option("--daemon", options.daemon, "The reader to start")->check(anyName());
    CLI::Option* log = app.add_option("--log", options.logFile, "File for the reader's log")
                           ->check(anyName())
                           ->needs(daemon);
    daemon->needs(log);
    app.add_option("--polls", options.polls,
                   "End after so many polls: status 0 if every meter delivered in every poll")
        ->transform(wholeNumber(1, 100000));
    app.add_option("--fault", options.faults,
                   "What fails, can be given repeatedly: " + house::faults::forms())
        ->check(fault())
        ->allow_extra_args(false);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        constexpr int wrongUsage = 2;
        return app.exit(e) == 0 ? 0 : wrongUsage;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    try {
        house::WatchOptions options;
        options.homeFile = house::Home::defaultFile();
        if (const std::optional<int> status = readCommandLine(argc, argv, options))
            return *status;
        return house::Watch(options).run();
    } catch (const std::exception& e) {
        std::cerr << "modbus-house: " << e.what() << std::endl;
        return 1;
    }
}
