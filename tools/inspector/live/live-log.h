#pragma once

#include "inspector/live/live-home.h"
#include "inspector/live/stopper.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace inspector {

class Source;

/// Where a log comes from: one of both.
struct LogOptions {
    /// "-" is standard input.
    std::optional<std::string> file = std::nullopt;
    /// A unit of systemd.
    std::optional<std::string> journal = std::nullopt;
};

/// What people call it.
std::string nameOf(const LogOptions& options);

/// Follows a log in a thread of its own.
class LiveLog {
public:
    /// Throws `UnreadableInput` if there is none.
    LiveLog(const LogOptions& options, LiveHome& home);
    ~LiveLog();
    LiveLog(const LiveLog&) = delete;
    LiveLog& operator=(const LiveLog&) = delete;

    /// Why it can't be followed any more; else empty.
    std::string failure() const;

private:
    void follow(Source& source);

    LiveHome& m_home;
    Stopper m_stopper;
    mutable std::mutex m_mutex;
    std::string m_failure;
    std::thread m_thread;
};

} // namespace inspector
