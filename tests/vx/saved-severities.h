#pragma once

#include "vx/log.h"

#include <optional>
#include <vector>

/// The default severity, and with it every channel's own, is as before at the end of the scope.
class SavedSeverities {
public:
    SavedSeverities() = default;
    ~SavedSeverities() {
        vx::Logger::instance().setDefaultSeverity(m_default);
        for (const auto& channel : m_channels)
            vx::Logger::instance().setChannelSeverity(channel.name, channel.severity);
    }
    SavedSeverities(const SavedSeverities&) = delete;
    SavedSeverities& operator=(const SavedSeverities&) = delete;

private:
    std::optional<vx::LogSeverity> m_default = vx::Logger::instance().defaultSeverity();
    std::vector<vx::Logger::ChannelSeverity> m_channels =
        vx::Logger::instance().channelSeverities();
};
