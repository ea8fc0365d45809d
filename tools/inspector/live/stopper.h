#pragma once

#include <atomic>
#include <chrono>

namespace inspector {

/// Ends the waiting of another thread.
class Stopper {
public:
    Stopper();
    ~Stopper();
    Stopper(const Stopper&) = delete;
    Stopper& operator=(const Stopper&) = delete;

    void stop();
    bool isStopped() const { return m_isStopped; }
    /// Waits until there is something to read from @p descriptor, unless that is -1, or the time is
    /// over. False if it was stopped.
    bool wait(int descriptor, std::chrono::milliseconds longest) const;

private:
    std::atomic<bool> m_isStopped = false;
    int m_event;
};

} // namespace inspector
