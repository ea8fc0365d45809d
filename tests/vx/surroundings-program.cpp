// Tells what the library made of its surroundings: the logging settings, which are read once when
// the logger comes into being, and the link to the time zone. The tests run it with an environment,
// and with files in a world of its own.

#include "vx/enum.h"
#include "vx/exception.h"
#include "vx/log-rule.h"
#include "vx/log.h"
#include "vx/system.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using vx::LogSeverity;

vx::LogChannel early("early", LogSeverity::notice);
vx::LogChannel modbusSerial("modbusSerial", LogSeverity::notice);

void tellChannels() {
    const auto severity = vx::Logger::instance().defaultSeverity();
    std::cout << "default:" << (severity ? vx::str(*severity) : "none") << '\n';
    for (const auto& channel : vx::Logger::instance().channelSeverities())
        if (channel.name != "vxSystem" && channel.name != "vxConf")
            std::cout << channel.name << ':' << channel.severity << '\n';
}

void tellLateChannels() {
    setenv("VX_LOG", "F", 1);
    if (std::filesystem::exists("/etc/libvx")) // only where a test has made it
        std::ofstream("/etc/libvx") << "VX_LOG=F\n";
    const vx::LogChannel late("late", LogSeverity::notice);
    vx::enumLogChannel();
    tellChannels();
}

void tellChangedSeverities() {
    auto& logger = vx::Logger::instance();
    early.setInitialSeverity(LogSeverity::error);
    std::cout << "initial " << early << '\n';
    logger.setChannelSeverity("early", LogSeverity::fatal);
    std::cout << "set " << early << '\n';
    logger.setDefaultSeverity(LogSeverity::info);
    std::cout << "default " << early << ' ' << modbusSerial << '\n';
    logger.setDefaultSeverity(std::nullopt);
    std::cout << "none " << early << ' ' << modbusSerial << '\n';
}

void logEverySeverity() {
    for (int severity = 0; severity <= 7; ++severity)
        vx::Logger::instance().log("early", static_cast<LogSeverity>(severity), "message");
}

/// The report of an unknown value, which makes a channel, comes while the logger is busy.
void reportWhileTheLoggerIsBusy() {
    const auto unknown = static_cast<LogSeverity>(9);
    vx::Logger::instance().setLogFunction(
        [](const char*, LogSeverity severity, const std::string& message) {
            std::cout << message << ':' << severity << '\n';
        });
    vx::Logger::instance().log("early", unknown, "message");
    VX_LOG_CONTEXT(unknown);
    try {
        const vx::LogChannel second("early", LogSeverity::notice);
    } catch (const vx::Exception& e) {
        std::cout << e.what() << '\n';
    }
    tellChannels();
}

void makeSocket(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string_view(path).copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        std::exit(2);
    close(fd);
}

} // namespace

int main(int argc, char* argv[]) {
    alarm(60); // for what would wait forever
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "channels")
        tellChannels();
    else if (command == "late-channels")
        tellLateChannels();
    else if (command == "changed-severities")
        tellChangedSeverities();
    else if (command == "every-severity")
        logEverySeverity();
    else if (command == "report-while-busy")
        reportWhileTheLoggerIsBusy();
    else if (command == "notice")
        early.log(LogSeverity::notice, "message");
    else if (command == "test-assert")
        vx::testAssert();
    else if (command == "time-zone-name")
        std::cout << vx::system().timeZoneName() << '\n';
    else if (command == "make-socket" && argc > 2)
        makeSocket(argv[2]);
    else
        return 2;
}
