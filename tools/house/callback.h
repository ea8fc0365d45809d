#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace house {

/// A callback that may be replaced at any time, even by itself; a call that is under way then runs
/// to its end. All functions are thread-safe.
template <class... Arguments>
class Callback {
public:
    using Function = std::function<void(Arguments...)>;

    void replace(Function function) {
        auto next = std::make_shared<const Function>(std::move(function));
        const std::lock_guard lock(m_mutex);
        // The old one is destroyed after the lock is gone, as what it holds may call back.
        m_function.swap(next);
    }

    void operator()(const Arguments&... arguments) const {
        const std::shared_ptr<const Function> function = present();
        if (*function)
            (*function)(arguments...);
    }

private:
    std::shared_ptr<const Function> present() const {
        const std::lock_guard lock(m_mutex);
        return m_function;
    }

    mutable std::mutex m_mutex;
    /// Shared with the calls that are under way.
    std::shared_ptr<const Function> m_function = std::make_shared<const Function>();
};

} // namespace house
