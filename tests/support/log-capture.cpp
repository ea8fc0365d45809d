#include "support/log-capture.h"

#include "vx/str.h"

#include <gtest/gtest.h>

#include <algorithm>

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

template <class Wanted>
std::vector<std::string> LogCapture::takeLines(const Wanted& isWanted) {
    const std::scoped_lock lock(m_mutex);
    const auto rest = std::stable_partition(m_lines.begin(), m_lines.end(), isWanted);
    std::vector<std::string> texts;
    for (auto line = m_lines.begin(); line != rest; ++line)
        texts.push_back(std::move(line->text));
    m_lines.erase(m_lines.begin(), rest);
    return texts;
}

std::vector<std::string> LogCapture::take() {
    return takeLines([](const Line&) { return true; });
}

std::vector<std::string> LogCapture::takeFrom(std::string_view channelName) {
    return takeLines([channelName](const Line& line) { return line.channel == channelName; });
}
