#include "logger.h"

#include "vx/exception.h"

#include <utility>

namespace orv {
namespace {

// The two scales run in opposite directions, and their numbers sum up to this.
constexpr int severitySum = 6;

vx::LogSeverity toVxSeverity(aLogSeverity x) {
    if (x > aLogSeverity::fatal)
        VX_THROW("Cannot convert orv log severity", static_cast<int>(x));
    return static_cast<vx::LogSeverity>(severitySum - static_cast<int>(x));
}

} // namespace

aLogSeverity vxLogSeverityToLogSeverity(vx::LogSeverity x) {
    if (x < vx::LogSeverity::fatal || x > vx::LogSeverity::debug)
        VX_THROW("Cannot convert vx log severity", x);
    return static_cast<aLogSeverity>(severitySum - static_cast<int>(x));
}

Logger::Logger() : LogChannel("System", vx::LogSeverity::notice) {}

Logger* Logger::getInstance() {
    static auto* const instance = new Logger;
    return instance;
}

void Logger::log(const LogChannel& channel, std::string message, aLogSeverity severity) {
    const vx::LogSeverity vxSeverity = toVxSeverity(severity);
    if (vxSeverity > channel.severity)
        return;
    message += vx::str(" ", vx::logContext());
    channel.log(vxSeverity, std::move(message));
}

void Logger::log(std::string message, aLogSeverity severity) {
    log(*getInstance(), std::move(message), severity);
}

} // namespace orv
