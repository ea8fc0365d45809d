#pragma once

#include "house/patience.h"

#include <future>
#include <memory>
#include <utility>

namespace house {

/// Makes a callback that replaces itself while it runs, and tells whether what it holds was still
/// there afterwards.
class SelfReplacingCallback {
public:
    /// @p replace sets another callback in its place.
    template <class Replace>
    auto with(Replace replace) {
        return [this, replace, held = std::make_shared<int>()](const auto&...) {
            // The closure may be gone once it is replaced.
            SelfReplacingCallback& self = *this;
            const std::weak_ptr<int> watched = held;
            const Replace replaceNow = replace;
            replaceNow();
            self.m_outlived.set_value(!watched.expired());
        };
    }

    /// Waits for the call.
    bool outlivedItsReplacement() {
        std::future<bool> outlived = m_outlived.get_future();
        return outlived.wait_for(Patience::limit()) == std::future_status::ready && outlived.get();
    }

private:
    std::promise<bool> m_outlived;
};

} // namespace house
