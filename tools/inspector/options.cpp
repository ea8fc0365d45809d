#include "inspector/options.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace inspector {
namespace {

constexpr const char* ownServer = "http://127.0.0.1:8088";

/// An address as the daemon's, without a path; a slash at its end is none.
CLI::Validator serverAddress() {
    return {[](const std::string& text) {
                constexpr std::string_view scheme = "http://";
                const std::size_t end = std::min(text.find('/', scheme.size()), text.size());
                const bool isGood =
                    text.starts_with(scheme) && end > scheme.size() && end + 1 >= text.size();
                return isGood ? std::string() : "'" + text + "' is no address such as " + ownServer;
            },
            ""};
}

CLI::Validator tcpAddress() {
    return {[](const std::string& text) {
                return hostAndPort(text)
                           ? std::string()
                           : "'" + text + "' is no HOST:PORT, such as 192.168.1.5:502";
            },
            ""};
}

} // namespace

CLI::Validator wholeNumber(int from, int to) {
    const std::string range = std::to_string(from) + " to " + std::to_string(to);
    return {[=](const std::string& text) {
                int number = 0;
                const char* const end = text.data() + text.size();
                const auto [rest, error] = std::from_chars(text.data(), end, number);
                return error != std::errc() || rest != end || number < from || number > to
                           ? "'" + text + "' is no whole number from " + range
                           : std::string();
            },
            range};
}

CLI::Validator named() {
    return {[](const std::string& text) {
                return text.empty() ? std::string("The name is empty") : std::string();
            },
            ""};
}

void addFile(CLI::App& command, const char* name, std::optional<std::string>& target,
             const char* text) {
    command.add_option(name, target, text)->check(named())->type_name("FILE");
}

void addSources(CLI::App& command, Sources& sources) {
    addFile(command, "--supported", sources.supported,
            "Reply with the models, or one model; - is standard input");
    addFile(command, "--attached", sources.attached,
            "Reply with the attached meters, or one meter");
    addFile(command, "--serial", sources.serial, "Reply with the serial parameters");
    addFile(command, "--config", sources.config, "The configuration file");
    command
        .add_option_function<std::string>(
            "--server",
            [&](const std::string& url) {
                sources.server = url.ends_with('/') ? url.substr(0, url.size() - 1) : url;
            },
            "Ask the local server for what no file is given (" + std::string(ownServer) + ")")
        ->expected(0, 1)
        ->default_str(ownServer)
        ->check(serverAddress())
        ->type_name("URL");
}

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
        throw CLI::ValidationError("Nothing to look at: give --supported, --attached, --serial, "
                                   "--config or --server");
    if (fromStandardInput > 1)
        throw CLI::ValidationError("Only one document can come from standard input");
}

void addBus(CLI::App& command, BusOptions& options) {
    constexpr int longestTimeOut = 60000;
    CLI::Option* tcp = command.add_option("--tcp", options.address.tcp, "Meters on Modbus TCP")
                           ->check(tcpAddress())
                           ->type_name("HOST:PORT");
    CLI::Option* rtu = command.add_option("--rtu", options.address.rtu, "Meters on a serial line")
                           ->check(named())
                           ->type_name("DEVICE")
                           ->excludes(tcp);
    command.add_option("--baud", options.address.line.baud, "Rate of the line (9600)")
        ->check(CLI::IsMember({9600, 19200, 38400, 57600, 115200}))
        ->needs(rtu);
    command
        .add_option_function<std::string>(
            "--parity",
            [&](const std::string& name) {
                options.address.line.parity = name == "none" ? 'N' : name == "even" ? 'E' : 'O';
            },
            "none, even or odd (even)")
        ->check(CLI::IsMember({"none", "even", "odd"}))
        ->needs(rtu);
    command.add_option("--stop", options.address.line.stopBits, "Stop bits, 1 or 2 (1)")
        ->check(wholeNumber(1, 2))
        ->needs(rtu);
    command
        .add_option_function<int>(
            "--time-out",
            [&](int milliseconds) { options.timeOut = std::chrono::milliseconds(milliseconds); },
            "Milliseconds to wait for an answer")
        ->check(wholeNumber(1, longestTimeOut));
    command.add_flag("--share", options.share, "Read though another program has the line open");
    command.add_flag("--stop-service", options.stopService,
                     "Stop the daemon for the time, and start it again whatever happens");
}

} // namespace inspector
