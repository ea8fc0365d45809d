#pragma once

#include "inspector/log/time-span.h"
#include "inspector/recording/recording-text.h"
#include "inspector/replay/poll-listener.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// What was recorded of one run of the daemon.
class RunRecorder {
public:
    struct Counts {
        std::size_t polls = 0;
        /// Polls that the log tells only in parts, but for the last one.
        std::size_t damaged = 0;
        /// Polls for which the description had no room.
        std::size_t beyond = 0;
        /// Polls that are not wanted.
        std::size_t outside = 0;
    };

    /// Keeps the polls that began in the time that is @p wanted.
    RunRecorder(std::uint32_t thread, bool showsStart, const TimeSpan& wanted);
    // The listener calls back.
    RunRecorder(const RunRecorder&) = delete;
    RunRecorder& operator=(const RunRecorder&) = delete;

    void take(const Line& line);
    void takeRule() { m_listener.takeRule(); }
    void end() { m_listener.end(); }

    /// The first poll that began gives the run its number among those of the log.
    std::size_t number = 0;

    std::uint32_t thread() const { return m_thread; }
    const Counts& counts() const { return m_counts; }
    /// "2 polls from … to …"
    std::string span() const;
    /// The home that was recorded, which begins with what is @p about it.
    std::string home(const std::vector<std::string>& about) const;
    /// What a user should know of the recording.
    std::vector<std::string> notes() const;

private:
    void add(const RecordedPoll& poll);
    std::string busNote() const;
    std::string times() const;

    std::uint32_t m_thread;
    bool m_showsStart;
    TimeSpan m_wanted;
    PollListener m_listener;
    RecordingText m_text;
    Counts m_counts;
    std::int64_t m_first = 0;
    std::int64_t m_last = 0;
    /// Whether polls ahead of the first one are not wanted.
    bool m_beginsLate = false;
    bool m_isBrokenOff = false;
};

} // namespace inspector
