#include "vx/log.h"

#include "vx/date-time.h"
#include "vx/exception.h"
#include "vx/log-rule.h"
#include "vx/stack-trace.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <iterator>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace vx {

EnumTable vxEnum(LogSeverity) {
    using enum LogSeverity;
    // The last row repeats an earlier one. A look-up ends at the first that fits.
    static constexpr EnumRow x[] = {
        {print, "print"},   {fatal, "fatal"}, {error, "error"}, {warning, "warning"},
        {notice, "notice"}, {info, "info"},   {debug, "debug"}, {fatal, "fatal"},
    };
    return {std::begin(x), std::end(x), "vx::LogSeverity"};
}

std::ostream& operator<<(std::ostream& stream, LogSeverity severity) {
    detail::write(stream, severity);
    return stream;
}

LogSeverity logSeverityFromSyslog(int priority) {
    constexpr std::array fromPriority = {
        LogSeverity::fatal,   LogSeverity::fatal,  LogSeverity::fatal, LogSeverity::error,
        LogSeverity::warning, LogSeverity::notice, LogSeverity::info,  LogSeverity::debug};
    const auto index = static_cast<unsigned>(priority);
    return index < fromPriority.size() ? fromPriority[index] : LogSeverity::debug;
}

LogChannel::LogChannel(std::string name, LogSeverity initialSeverity)
    : m_name(std::move(name)), severity(initialSeverity) {
    Logger::instance().addChannel(*this);
}

LogChannel::~LogChannel() {
    Logger::instance().removeChannel(*this);
}

void LogChannel::setInitialSeverity(LogSeverity initialSeverity) {
    severity = initialSeverity;
    Logger::instance().updateChannelSeverity(*this);
}

void LogChannel::log(LogSeverity messageSeverity, std::string message) const {
    if (messageSeverity <= severity)
        Logger::instance().log(m_name.c_str(), messageSeverity, std::move(message));
}

std::ostream& operator<<(std::ostream& stream, const LogChannel& channel) {
    return stream << channel.name() << ':' << channel.severity;
}

namespace {

/// What is left of @p path without the start that spells the channel's name.
std::string_view withoutChannelName(std::string_view path, const LogChannel& channel) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    // Most are equal, which spares the two calls.
    const auto same = [&](char a, char b) { return a == b || lower(a) == lower(b); };
    const auto* p = path.begin();
    auto q = channel.name().begin();
    for (; p != path.end(); ++p) {
        if (*p == '_' || *p == '-' || *p == '/')
            continue;
        if (q == channel.name().end() || !same(*p, *q))
            break;
        ++q;
    }
    return {p, path.end()};
}

} // namespace

std::string trimFile(std::string file, const LogChannel& channel) {
    const std::string path = trimFile(std::move(file));
    return std::string(withoutChannelName(path, channel));
}

void detail::Str<detail::LogPosition>::f(std::ostream& stream, const LogPosition& position) {
    const auto& [channel, file, line] = position;
    // Without a text of its own, which would be allocated, unless the path is too long.
    const std::string_view path = belowSources(file);
    if (path.size() <= maxPathSize)
        writeText(stream, withoutChannelName(path, channel));
    else
        writeText(stream, trimFile(std::string(path), channel));
    writeText(stream, ":");
    writeInteger(stream, line);
}

struct Logger::Body {
    std::mutex mutex;
    LogFunction logFunction;
    int logFd = STDERR_FILENO;
    bool useColors = false;
    std::vector<LogChannel*> channels;
    std::optional<LogSeverity> defaultSeverity;
    std::vector<LogRule> rules;
};

Logger& Logger::instance() {
    static Logger logger;
    return logger;
}

// cppcheck-suppress noDestructor ; the body outlives all channels
Logger::Logger() : m_body(new Body) {
    setLogFunction(defaultLogFunction);
    readSettings();
}

void Logger::readSettings() {
    const auto rules = getEnvOrConfig("VX_LOG");
    const auto colors = getEnvOrConfig("VX_LOG_COLORS");
    if (rules)
        m_body->rules = tryParseLogRules(rules->c_str());
    for (const LogRule& rule : m_body->rules)
        if (rule.name.empty())
            m_body->defaultSeverity = rule.severity;
    if (colors == "yes" || colors == "no")
        m_body->useColors = colors == "yes";
    else
        m_body->useColors = isatty(m_body->logFd) != 0;
}

void Logger::log(const char* channelName, LogSeverity severity, std::string message) const {
    const std::scoped_lock lock(m_body->mutex);
    // A log function may write an enumeration value without a name. Its report would come to the
    // logger, which would wait for its own lock.
    const detail::EnumReportPause pause;
    m_body->logFunction(channelName, severity, std::move(message));
}

void Logger::setLogFunction(LogFunction logFunction) {
    const std::scoped_lock lock(m_body->mutex);
    // The assignment destroys the old function under the lock, and what that owns may write such a
    // value too.
    const detail::EnumReportPause pause;
    m_body->logFunction = std::move(logFunction);
}

std::optional<LogSeverity> Logger::defaultSeverity() const {
    const std::scoped_lock lock(m_body->mutex);
    return m_body->defaultSeverity;
}

void Logger::setDefaultSeverity(std::optional<LogSeverity> severity) {
    const std::scoped_lock lock(m_body->mutex);
    m_body->defaultSeverity = severity;
    for (LogChannel* channel : m_body->channels)
        updateChannelSeverity(*channel);
}

std::vector<Logger::ChannelSeverity> Logger::channelSeverities() const {
    const std::scoped_lock lock(m_body->mutex);
    std::vector<ChannelSeverity> result;
    for (const LogChannel* channel : m_body->channels)
        result.push_back({channel->name(), channel->severity});
    return result;
}

LogChannel* Logger::findChannel(std::string_view channelName) const {
    const auto found = std::find_if(m_body->channels.begin(), m_body->channels.end(),
                                    [&](const auto* x) { return x->name() == channelName; });
    return found == m_body->channels.end() ? nullptr : *found;
}

LogSeverity Logger::channelSeverity(std::string_view channelName) const {
    VX_LOG_CONTEXT(channelName);
    {
        const std::scoped_lock lock(m_body->mutex);
        if (const LogChannel* channel = findChannel(channelName))
            return channel->severity;
    }
    VX_THROW("Log channel not found.");
}

void Logger::setChannelSeverity(std::string_view channelName, LogSeverity severity) {
    VX_LOG_CONTEXT(channelName, severity);
    {
        const std::scoped_lock lock(m_body->mutex);
        if (LogChannel* channel = findChannel(channelName)) {
            channel->severity = severity;
            return;
        }
    }
    // Not under the lock: the text of a severity without a name may make the channel "vxEnum".
    VX_THROW("Log channel not found.");
}

void Logger::addChannel(LogChannel& channel) {
    // Not under the lock: a value without a name in the context may make the channel "vxEnum".
    if (!tryAddChannel(channel))
        throw Exception(strArgs("Log channels with duplicate name detected. channel.name():",
                                channel.name(), " condition:x->name() != channel.name() ",
                                trimFile(__FILE__), ":", __LINE__, " ", logContext()));
}

bool Logger::tryAddChannel(LogChannel& channel) {
    const std::scoped_lock lock(m_body->mutex);
    if (findChannel(channel.name()) != nullptr)
        return false;
    m_body->channels.push_back(&channel);
    updateChannelSeverity(channel);
    return true;
}

void Logger::removeChannel(LogChannel& channel) {
    const std::scoped_lock lock(m_body->mutex);
    std::erase(m_body->channels, &channel);
}

void Logger::updateChannelSeverity(LogChannel& channel) {
    LogSeverity severity = m_body->defaultSeverity.value_or(channel.severity);
    for (const LogRule& rule : m_body->rules)
        if (channel.name().starts_with(rule.name))
            severity = rule.severity;
    channel.severity = severity;
}

namespace {

struct SeverityText {
    const char* text;
    /// Escape sequence of the colour; empty for none.
    const char* color;
};

SeverityText severityText(LogSeverity severity) {
    constexpr std::array<SeverityText, 7> texts = {{
        {"!!!!!", "\x1B[34;01m"},
        {"FATAL", "\x1B[31;01m"},
        {"ERROR", "\x1B[31;01m"},
        {"WARN ", "\x1B[33;01m"},
        {"NOTIC", "\x1B[36m"},
        {"INFO ", ""},
        {"DEBUG", ""},
    }};
    const auto index = static_cast<std::size_t>(severity);
    return index < texts.size() ? texts[index] : SeverityText{"?????", ""};
}

/// The number of the thread in five columns, right-aligned; at most seven characters.
std::string threadIdColumn() {
    const std::string id = std::to_string(syscall(SYS_gettid)).substr(0, 7);
    return std::string(5 - std::min<std::size_t>(5, id.size()), ' ') + id;
}

std::string joined(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    for (const std::string_view piece : pieces)
        size += piece.size();
    std::string text;
    text.reserve(size);
    for (const std::string_view piece : pieces)
        text += piece;
    return text;
}

} // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): the signature is that of any log function
void Logger::defaultLogFunction(const char* channelName, LogSeverity severity,
                                std::string message) {
    // NOLINTEND(performance-unnecessary-value-param)
    const auto time = detail::localTimeText(now());
    const Body& body = *instance().m_body;
    const auto [severityName, color] = severityText(severity);
    const bool colored = body.useColors && *color != '\0';
    const std::string line =
        joined({"[", std::string_view(time.data(), time.size()), "] ", threadIdColumn(), " ",
                colored ? color : "", severityName, colored ? "\x1B[0m" : "", " ",
                channelName == nullptr ? "null" : channelName, " ", message, "\n"});
    detail::writeToFd(body.logFd, line.data(), line.size());
    // So that the line stays even if the machine dies right after it.
    fsync(body.logFd);
}

} // namespace vx
