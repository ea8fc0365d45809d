#pragma once

#include "support/channel-severity.h"
#include "support/lines.h"
#include "vx/log.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// Takes the log function for its scope and answers with whole lines of the form
/// `severity channel message`, in which the number of a source position reads `<line>`:
///
///     notice modbusSerial doReconnect m_config:{} toolkit.cpp:<line>
class LogCapture {
public:
    enum class Mode {
        /// A line that nobody took by the end of the scope fails the test.
        strict,
        /// Only a warning or something worse does.
        lenient,
    };

    explicit LogCapture(Mode mode = Mode::strict);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// All lines so far, which are then forgotten.
    std::vector<std::string> take();
    /// As `take`, of one channel alone; the lines of the others stay.
    std::vector<std::string> takeFrom(std::string_view channelName);

private:
    struct Line {
        std::string channel;
        vx::LogSeverity severity;
        std::string text;
    };

    Mode m_mode;
    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

/// A strict capture of a channel from debug on, and of the others.
class DebugCapture : public LogCapture {
public:
    explicit DebugCapture(const std::string& channelName)
        : m_debug(channelName, vx::LogSeverity::debug) {}

private:
    ChannelSeverity m_debug;
};
