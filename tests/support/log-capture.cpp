#include "support/log-capture.h"

#include "vx/str.h"

#include <gtest/gtest.h>

LogCapture::LogCapture(Mode mode) : m_mode(mode) {
    vx::Logger::instance().setLogFunction([this](const char* channelName, vx::LogSeverity severity,
                                                 const std::string& message) {
        const std::scoped_lock lock(m_mutex);
        m_lines.push_back({channelName, severity,
                           vx::str(severity, " ", channelName, " ", withoutLineNumbers(message))});
    });
}

LogCapture::~LogCapture() {
    vx::Logger::instance().setLogFunction(vx::Logger::defaultLogFunction);
    for (const Line& line : m_lines)
        if (m_mode == Mode::strict || line.severity <= vx::LogSeverity::warning)
            ADD_FAILURE() << "Not taken: " << line.text;
}

std::vector<std::string> LogCapture::take() {
    const std::scoped_lock lock(m_mutex);
    return takeTexts(m_lines, [](const Line&) { return true; });
}

std::vector<std::string> LogCapture::takeFrom(std::string_view channelName) {
    const std::scoped_lock lock(m_mutex);
    return takeTexts(m_lines,
                     [channelName](const Line& line) { return line.channel == channelName; });
}
