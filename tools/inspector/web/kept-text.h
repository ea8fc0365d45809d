#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace inspector {

/// A text that is made for the first who asks, and kept for those who ask shortly after. Each who
/// takes it slowly holds it, so it isn't made anew while too much of its forerunners is held.
class KeptText {
public:
    using Text = std::shared_ptr<const std::string>;

    explicit KeptText(std::chrono::milliseconds longestAge, std::size_t mostHeldBytes)
        : m_longestAge(longestAge), m_mostHeldBytes(mostHeldBytes) {}

    Text recent(const std::function<std::string()>& make);
    Text renewed(const std::function<std::string()>& make);

private:
    using Clock = std::chrono::steady_clock;

    std::chrono::milliseconds m_longestAge;
    std::size_t m_mostHeldBytes;
    /// By all of these texts that are left; they may outlive this.
    std::shared_ptr<std::size_t> m_heldBytes = std::make_shared<std::size_t>(0);
    Text m_text = nullptr;
    Clock::time_point m_time = {};
};

} // namespace inspector
