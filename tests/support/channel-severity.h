#pragma once

#include "vx/log.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Sets the severity of a channel for its scope.
class ChannelSeverity {
public:
    ChannelSeverity(std::string channelName, vx::LogSeverity severity)
        : m_channelName(std::move(channelName)),
          m_previous(vx::Logger::instance().channelSeverity(m_channelName)) {
        vx::Logger::instance().setChannelSeverity(m_channelName, severity);
    }
    ~ChannelSeverity() { vx::Logger::instance().setChannelSeverity(m_channelName, m_previous); }
    ChannelSeverity(const ChannelSeverity&) = delete;
    ChannelSeverity& operator=(const ChannelSeverity&) = delete;

private:
    std::string m_channelName;
    vx::LogSeverity m_previous;
};

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
