#pragma once

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
        lenient,
    };

    explicit LogCapture(Mode mode = Mode::strict);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// All lines so far, which are then forgotten.
    std::vector<std::string> take();
    /// As `take`, of one channel alone; the lines of the others are forgotten too.
    std::vector<std::string> takeFrom(std::string_view channelName);

private:
    struct Line {
        std::string channel;
        std::string text;
    };

    std::vector<Line> takeLines();

    Mode m_mode;
    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

/// Sets the severity of a channel for its scope.
class ChannelSeverity {
public:
    ChannelSeverity(std::string channelName, vx::LogSeverity severity);
    ~ChannelSeverity();
    ChannelSeverity(const ChannelSeverity&) = delete;
    ChannelSeverity& operator=(const ChannelSeverity&) = delete;

private:
    std::string m_channelName;
    vx::LogSeverity m_previous;
};
