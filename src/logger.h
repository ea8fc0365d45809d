#pragma once

#include "vx/log.h"

#include <string>

namespace orv {

// Logging of the base layer by a call instead of a statement, for messages that are whole texts
// already. It ends in the same logger and under the same rules as VX_LOG.

/// Severity scale of the base layer. Unlike that of vx/log.h a higher value is more severe, and
/// there is no "print".
// NOLINTNEXTLINE(readability-identifier-naming): its callers know it so
enum class aLogSeverity : unsigned {
    debug = 0,
    info = 1,
    notice = 2,
    warning = 3,
    error = 4,
    fatal = 5,
};

/// Throws `vx::Exception` for a severity that this scale doesn't have, such as print.
aLogSeverity vxLogSeverityToLogSeverity(vx::LogSeverity x);

/// A channel that this logger takes; nothing else is different.
class LogChannel : public vx::LogChannel {
public:
    using vx::LogChannel::LogChannel;
};

/// Logs whole messages. The logger is itself the channel "System", at notice. Any thread may log.
class Logger : public LogChannel {
public:
    /// The one logger, never destroyed.
    static Logger* getInstance();

    /// Logs @p message with the log context but without a source position. A severity above `fatal`
    /// throws `vx::Exception`, whatever the channel lets pass.
    static void log(const LogChannel& channel, std::string message, aLogSeverity severity);
    /// The same on the logger's own channel.
    static void log(std::string message, aLogSeverity severity);
    /// As any channel logs.
    using vx::LogChannel::log;

private:
    Logger();
};

} // namespace orv
