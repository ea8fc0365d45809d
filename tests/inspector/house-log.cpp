#include "house-log.h"

#include "house/child-process.h"
#include "house/patience.h"
#include "inspector/log/line.h"
#include "support/temporary-directory.h"
#include "vx/log-rule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

namespace inspector {
namespace {

std::string exampleHome() {
    const std::string document = contentOf(SOURCE_DIRECTORY "/tools/house/home.md");
    const std::string start = "```json\n";
    const std::size_t from = document.find(start) + start.size();
    return document.substr(from, document.find("```", from) - from);
}

vx::LogSeverity ownSeverityOf(std::string_view channel) {
    if (channel == "modbusreaderSocketWriter")
        return vx::LogSeverity::debug;
    return channel == "HttpClient" ? vx::LogSeverity::info : vx::LogSeverity::notice;
}

bool isTold(const Line& line, const std::vector<vx::LogRule>& rules) {
    if (line.kind != LineKind::log)
        return true;
    vx::LogSeverity severity = ownSeverityOf(line.channel);
    for (const vx::LogRule& rule : rules)
        if (line.channel.starts_with(rule.name))
            severity = rule.severity;
    return line.severity <= severity;
}

/// The log up to a tick of the timer and with it; nothing if that hasn't come yet.
std::optional<std::string> upToTick(const std::string& log, std::size_t number) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < number; ++i) {
        end = log.find(" callback ec:", end);
        end = end == std::string::npos ? end : log.find('\n', end);
        if (end == std::string::npos)
            return std::nullopt;
    }
    return log.substr(0, end + 1);
}

/// The reader's; other tests of the process are to find none.
struct ReaderConfigFile {
    static constexpr const char* name = "/etc/modbus-config.json";

    ReaderConfigFile() = default;
    ReaderConfigFile(const ReaderConfigFile&) = delete;
    ReaderConfigFile& operator=(const ReaderConfigFile&) = delete;
    ~ReaderConfigFile() { std::filesystem::remove(name); }
};

/// How many messages were offered to the service.
std::size_t offersIn(const std::string& log) {
    std::istringstream lines(log);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);)
        count += parseLine(line).kind == LineKind::rule ? 1U : 0U;
    return count;
}

/// The log of a daemon in the house, as soon as @p enough gives what there is to take of it.
template <class Enough>
std::string logOf(const std::vector<std::string>& options, const std::string& setting,
                  Enough enough) {
    const TemporaryDirectory directory;
    const bool isRtu = std::find(options.begin(), options.end(), "--rtu") != options.end();
    const ReaderConfigFile configFile;
    std::ofstream(ReaderConfigFile::name)
        << R"({"modbusMiscConfig":{)"
        << (isRtu ? "" : R"("modbusTCPServer":"127.0.0.1","port":1502,)")
        << R"("timeoutResponseSec":1}})";
    const std::string log = (directory.path() / "log").string();
    std::vector<std::string> command = {HOUSE_EXECUTABLE,
                                        "--home",
                                        directory.write("home", exampleHome()),
                                        "--daemon",
                                        READER_EXECUTABLE,
                                        "--log",
                                        log};
    command.insert(command.end(), options.begin(), options.end());
    const house::ChildProcess house(command, directory.path() / "errors", {"VX_LOG=" + setting});
    const auto end =
        std::chrono::steady_clock::now() + house::Patience::limit(std::chrono::seconds(60));
    for (;;) {
        if (const auto whole = enough(contentOf(log)))
            return *whole;
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "Not so much in time:\n" << contentOf(log);
            return {};
        }
        // The log grows for some seconds.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

} // namespace

const std::vector<std::string> logSettings = {"W",
                                              "W,modbusreaderSocketWriter:N",
                                              "modbusreaderMain:N,modbusSerial:W",
                                              "W,modbusSerial:D",
                                              "N",
                                              "",
                                              "vxEnum:D",
                                              "modbusSerial:D",
                                              "N,modbusSerial:D,HttpClient:D",
                                              "D"};

std::string logOfHouse(const std::vector<std::string>& options, std::size_t polls) {
    return logOf(options, "D", [polls](const std::string& log) { return upToTick(log, polls); });
}

std::string logAtSetting(const std::vector<std::string>& options, const std::string& setting,
                         std::size_t messages) {
    return logOf(options, setting, [messages](const std::string& log) {
        const std::string whole = log.substr(0, log.rfind('\n') + 1);
        return offersIn(whole) < messages ? std::nullopt : std::optional(whole);
    });
}

std::string atSetting(const std::string& log, const std::string& setting) {
    const std::vector<vx::LogRule> rules = vx::tryParseLogRules(setting.c_str());
    std::istringstream lines(log);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (isTold(parseLine(line), rules))
            kept += line + "\n";
    return kept;
}

} // namespace inspector
