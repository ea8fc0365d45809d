#pragma once

#include "vx/enum-table.h"
#include "vx/items.h"
#include "vx/log-context.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx {

/// How much a message matters; a higher value is more verbose.
enum class LogSeverity : std::int32_t {
    print = 0,
    fatal = 1,
    error = 2,
    warning = 3,
    notice = 4,
    info = 5,
    debug = 6,
};

EnumTable vxEnum(LogSeverity);
std::ostream& operator<<(std::ostream& stream, LogSeverity severity);

/// Severity of a syslog priority (LOG_EMERG 0 to LOG_DEBUG 7); any other number is debug.
LogSeverity logSeverityFromSyslog(int priority);

/// A named source of messages: a static object of the file that owns it.
class LogChannel {
public:
    /// Registers with the logger, whose default and rules may change the severity at once. A name
    /// that is already registered throws.
    LogChannel(std::string name, LogSeverity initialSeverity);
    ~LogChannel();
    LogChannel(const LogChannel&) = delete;
    LogChannel& operator=(const LogChannel&) = delete;

    const std::string& name() const { return m_name; }
    void setInitialSeverity(LogSeverity initialSeverity);
    /// Hands @p message to the logger if @p messageSeverity passes.
    void log(LogSeverity messageSeverity, std::string message) const;

private:
    std::string m_name;

public:
    /// The most verbose severity that passes. A log statement reads it without any lock.
    LogSeverity severity;
};

/// Writes the channel's name, ":" and its severity.
std::ostream& operator<<(std::ostream& stream, const LogChannel& channel);

/// As `trimFile(file)`, without what the channel's name already tells.
std::string trimFile(std::string file, const LogChannel& channel);

/// Knows all channels and hands each message to one replaceable log function.
class Logger {
public:
    using LogFunction =
        std::function<void(const char* channelName, LogSeverity severity, std::string message)>;

    struct ChannelSeverity {
        std::string name;
        LogSeverity severity;
    };

    /// The one logger. It comes into being with the first channel and is never destroyed, so that
    /// channels destroyed at exit can still unregister.
    static Logger& instance();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// Calls the log function. Throws `std::bad_function_call` if there is none.
    void log(const char* channelName, LogSeverity severity, std::string message) const;
    /// The log function runs under the logger's lock and must not log itself.
    void setLogFunction(LogFunction logFunction);
    /// Writes one line to standard error and syncs it.
    static void defaultLogFunction(const char* channelName, LogSeverity severity,
                                   std::string message);

    std::optional<LogSeverity> defaultSeverity() const;
    /// Resolves every channel's severity anew.
    void setDefaultSeverity(std::optional<LogSeverity> severity);
    /// All channels in order of registration.
    std::vector<ChannelSeverity> channelSeverities() const;
    /// Throws if there is no channel of exactly that name.
    LogSeverity channelSeverity(std::string_view channelName) const;
    /// Sets one channel, whatever rules and default say; throws if there is none of that name.
    void setChannelSeverity(std::string_view channelName, LogSeverity severity);

    /// Throws if there is already a channel of that name.
    void addChannel(LogChannel& channel);
    void removeChannel(LogChannel& channel);
    /// Applies default and rules. Takes no lock: callers hold it, or run before threads exist.
    void updateChannelSeverity(LogChannel& channel);

private:
    struct Body;

    Logger();
    void readSettings();
    LogChannel* findChannel(std::string_view channelName) const;
    /// Returns false, without a change, if there is already a channel of that name.
    bool tryAddChannel(LogChannel& channel);

    Body* m_body;
};

namespace detail {

/// Text of a log statement; in braces, which evaluate the items from left to right.
struct LogMessage {
    template <class... Items>
    LogMessage(const LogChannel& channel, const char* file, int line, const Items&... items)
        : text(strArgs("", items..., logContext(), trimFile(file, channel), ":", line)) {}

    std::string text;
};

} // namespace detail
} // namespace vx

/// Logs the items if @p severityName passes the channel; otherwise evaluates none of them.
#define VX_LOG(channel, severityName, ...)                                                         \
    do {                                                                                           \
        if (::vx::LogSeverity::severityName <= (channel).severity)                                 \
            (channel).log(                                                                         \
                ::vx::LogSeverity::severityName,                                                   \
                ::vx::detail::LogMessage{channel, __FILE__, __LINE__ VX_ITEMS(__VA_ARGS__)}.text); \
    } while (false)
