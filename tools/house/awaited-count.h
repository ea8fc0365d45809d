#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

#include "house/patience.h"

namespace house {

/// A number of events that threads wait for.
class AwaitedCount {
public:
    void increase() {
        {
            const std::lock_guard lock(m_mutex);
            ++m_count;
        }
        m_changed.notify_all();
    }

    std::size_t value() const {
        const std::lock_guard lock(m_mutex);
        return m_count;
    }

    /// Waits until at least @p count have come. False when the limit of `Patience` passed first.
    [[nodiscard]] bool waitFor(std::size_t count) const {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, Patience::limit(), [&] { return m_count >= count; });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::size_t m_count = 0;
};

} // namespace house
