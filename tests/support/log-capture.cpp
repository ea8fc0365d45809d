#include "support/log-capture.h"

#include "vx/str.h"

#include <gtest/gtest.h>

#include <utility>

LogCapture::LogCapture(Mode mode) : m_mode(mode) {
    vx::Logger::instance().setLogFunction([this](const char* channelName, vx::LogSeverity severity,
                                                 std::string message) {
        const std::scoped_lock lock(m_mutex);
        m_lines.push_back(
            {channelName, vx::str(severity, " ", channelName, " ", withoutLineNumbers(message))});
    });
}

LogCapture::~LogCapture() {
    vx::Logger::instance().setLogFunction(vx::Logger::defaultLogFunction);
    if (m_mode == Mode::strict)
        for (const Line& line : m_lines)
            ADD_FAILURE() << "Unexpected log line: " << line.text;
}

std::vector<LogCapture::Line> LogCapture::takeLines() {
    const std::scoped_lock lock(m_mutex);
    return std::exchange(m_lines, {});
}

std::vector<std::string> LogCapture::take() {
    std::vector<std::string> texts;
    for (Line& line : takeLines())
        texts.push_back(std::move(line.text));
    return texts;
}

std::vector<std::string> LogCapture::takeFrom(std::string_view channelName) {
    std::vector<std::string> texts;
    for (Line& line : takeLines())
        if (line.channel == channelName)
            texts.push_back(std::move(line.text));
    return texts;
}

ChannelSeverity::ChannelSeverity(std::string channelName, vx::LogSeverity severity)
    : m_channelName(std::move(channelName)),
      m_previous(vx::Logger::instance().channelSeverity(m_channelName)) {
    vx::Logger::instance().setChannelSeverity(m_channelName, severity);
}

ChannelSeverity::~ChannelSeverity() {
    vx::Logger::instance().setChannelSeverity(m_channelName, m_previous);
}
