#pragma once

#include "vx/log.h"

#include <string>

namespace orv {

/// Severity scale of the older base layer; a higher value is more severe.
enum class aLogSeverity : unsigned { // NOLINT(readability-identifier-naming): as older code has it
    debug = 0,
    info = 1,
    notice = 2,
    warning = 3,
    error = 4,
    fatal = 5,
};

/// Throws for a severity that this scale doesn't have, such as print.
aLogSeverity vxLogSeverityToLogSeverity(vx::LogSeverity x);

class LogChannel : public vx::LogChannel {
public:
    using vx::LogChannel::LogChannel;
};

/// Lets older code log through one call. The logger is itself the channel "System".
class Logger : public LogChannel {
public:
    /// The one logger, never destroyed.
    static Logger* getInstance();

    /// Logs @p message with the log context but without a source position. A severity above 5
    /// throws, whether or not it passes.
    static void log(const LogChannel& channel, std::string message, aLogSeverity severity);
    /// The same on the logger's own channel.
    static void log(std::string message, aLogSeverity severity);
    /// As any channel logs.
    using vx::LogChannel::log;

private:
    Logger();
};

} // namespace orv
