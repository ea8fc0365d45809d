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

/// How much a message matters; a higher value is more verbose. A channel passes the severities up
/// to its own, so `print` always passes.
enum class LogSeverity : std::int32_t {
    print = 0,
    fatal = 1,
    error = 2,
    warning = 3,
    notice = 4,
    info = 5,
    debug = 6,
};

/// Names are those of the enumerators.
EnumTable vxEnum(LogSeverity);
std::ostream& operator<<(std::ostream& stream, LogSeverity severity);

/// Severity of a syslog priority (LOG_EMERG 0 to LOG_DEBUG 7); any other number is debug.
LogSeverity logSeverityFromSyslog(int priority);

/// A named source of messages: a static object of the file that owns it.
///
///     vx::LogChannel channel("modbusSerial", vx::LogSeverity::notice);
///
/// The name stands in each line, and the rules of the operator select channels by it. Any thread
/// may log on a channel at any time.
class LogChannel {
public:
    /// Registers with the logger, whose default and rules may change the severity at once. Throws
    /// `vx::Exception` if the name is already registered; for a static object this ends the
    /// program.
    LogChannel(std::string name, LogSeverity initialSeverity);
    ~LogChannel();
    LogChannel(const LogChannel&) = delete;
    LogChannel& operator=(const LogChannel&) = delete;

    const std::string& name() const { return m_name; }
    /// As if the channel had been made with @p initialSeverity: default and rules still win. Before
    /// other threads exist, as it takes no lock.
    void setInitialSeverity(LogSeverity initialSeverity);
    /// Hands @p message to the logger as it is, without position and context, if @p messageSeverity
    /// passes. For texts that are no list of items; all others use VX_LOG.
    void log(LogSeverity messageSeverity, std::string message) const;

private:
    std::string m_name;

public:
    /// The most verbose severity that passes. A log statement reads it without any lock, so it
    /// should not be changed while other threads log on the channel.
    LogSeverity severity;
};

/// Writes the channel's name, ":" and its severity.
std::ostream& operator<<(std::ostream& stream, const LogChannel& channel);

/// As `trimFile(file)`, without what the channel's name already tells: on the channel
/// "modbusSerial" the file "src/modbus/serial-toolkit.cpp" is "toolkit.cpp". It drops the start of
/// the path for as long as that spells the name. Upper and lower case count as the same, and a "_",
/// "-" or "/" of the path as nothing.
std::string trimFile(std::string file, const LogChannel& channel);

/// Knows all channels and hands each message to one replaceable log function. Where it doesn't say
/// otherwise, a function may be called from any thread; it takes the logger's lock, so none may be
/// called by the log function.
///
/// The severity of a channel is the one of the last rule that fits its name, else the default, else
/// the channel's initial one. Rules and default come from the setting VX_LOG (see vx/log-rule.h),
/// which is read once, when the first channel is made.
class Logger {
public:
    using LogFunction =
        std::function<void(const char* channelName, LogSeverity severity, std::string message)>;

    struct ChannelSeverity {
        std::string name;
        LogSeverity severity;
    };

    /// The one logger. It comes into being with the first channel. What it knows is never freed, as
    /// channels that are destroyed at exit still unregister.
    static Logger& instance();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// Calls the log function, whatever the severity of the channel; one call at a time. Throws
    /// `std::bad_function_call` if there is none, and what the function throws.
    void log(const char* channelName, LogSeverity severity, std::string message) const;
    /// Replaces the log function, for all channels. It runs under the logger's lock on the thread
    /// of the statement and must not log itself: it would wait for itself without end.
    void setLogFunction(LogFunction logFunction);
    /// The log function at the start. Writes one line with local time, thread, severity, channel
    /// and message to standard error and syncs it, in colour if VX_LOG_COLORS is "yes", or on a
    /// terminal if it isn't "no". Errors of writing are passed over.
    static void defaultLogFunction(const char* channelName, LogSeverity severity,
                                   std::string message);

    std::optional<LogSeverity> defaultSeverity() const;
    /// Resolves the severity of every channel anew, which undoes `setChannelSeverity` where the
    /// default or a rule applies. Without a default, channels that no rule fits stay as they are.
    void setDefaultSeverity(std::optional<LogSeverity> severity);
    /// All channels in order of registration.
    std::vector<ChannelSeverity> channelSeverities() const;
    /// Throws `vx::Exception` "Log channel not found." if there is none of exactly that name.
    LogSeverity channelSeverity(std::string_view channelName) const;
    /// Sets one channel, whatever rules and default say. Throws as `channelSeverity` does.
    void setChannelSeverity(std::string_view channelName, LogSeverity severity);

    /// For the channel's constructor. Throws `vx::Exception` if there is already one of that name.
    void addChannel(LogChannel& channel);
    /// For the channel's destructor.
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

/// Where a log statement stands.
struct LogPosition {
    const LogChannel& channel;
    const char* file;
    int line;
};

/// Writes what `trimFile` makes of the file, ":" and the line.
template <>
struct Str<LogPosition> {
    static void f(std::ostream& stream, const LogPosition& position);
};

/// Text of a log statement; in braces, which evaluate the items from left to right.
struct LogMessage {
    template <class... Items>
    LogMessage(const LogChannel& channel, const char* file, int line, const Items&... items)
        : text(strArgs(items..., logContext(), LogPosition{channel, file, line})) {}

    std::string text;
};

} // namespace detail
} // namespace vx

/// Logs the items, the log context and the source position if @p severityName passes @p channel;
/// otherwise evaluates none of the items. They are evaluated from left to right, and what one of
/// them throws, the statement throws. A string literal shows as it is, any other expression behind
/// its source text:
///
///     VX_LOG(channel, notice, "Reading meter now", slaveAddress);
///     // Reading meter now slaveAddress:3 toolkit.cpp:281
///
/// The severity is given by its name alone. @p channel is evaluated several times.
#define VX_LOG(channel, severityName, ...)                                                         \
    do {                                                                                           \
        if (::vx::LogSeverity::severityName <= (channel).severity)                                 \
            (channel).log(                                                                         \
                ::vx::LogSeverity::severityName,                                                   \
                ::vx::detail::LogMessage{channel, __FILE__, __LINE__ VX_ITEMS(__VA_ARGS__)}.text); \
    } while (false)
