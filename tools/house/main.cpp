#include "house/home.h"
#include "house/watch.h"

#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

namespace {

int run(int argc, char** argv) {
    house::WatchOptions options;
    options.homeFile = house::Home::defaultFile();

    CLI::App app("A simulated house: local server, Modbus meters and metering service.");
    app.add_option("--home", options.homeFile, "JSON description of the home");
    CLI::Option* tcp =
        app.add_option("--tcp", options.tcpPort, "Port of the bus on 127.0.0.1 (1502)");
    app.add_option("--rtu", options.rtuLink, "Serve a serial line and link its end at this path")
        ->excludes(tcp);
    CLI::Option* daemon = app.add_option("--daemon", options.daemon, "The reader to start");
    CLI::Option* log =
        app.add_option("--log", options.logFile, "File for the reader's log")->needs(daemon);
    daemon->needs(log);
    app.add_option("--polls", options.polls,
                   "End after so many polls: status 0 if every meter delivered in every poll");
    CLI11_PARSE(app, argc, argv);
    return house::Watch(options).run();
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::cerr << "modbus-house: " << e.what() << std::endl;
        return 1;
    }
}
