#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace inspector {

/// How long something took how often, in memory that doesn't grow with the number: milliseconds up
/// to eight seconds stand as they are, longer times within a thousandth.
class LengthHistogram {
public:
    void add(std::int64_t milliseconds);
    std::size_t count() const { return m_count; }
    /// The length that a share of all, above 0 and up to 1, doesn't exceed; nothing without any.
    std::optional<std::int64_t> quantile(double share) const;
    std::int64_t longest() const { return m_longest; }
    std::int64_t last() const { return m_last; }
    /// Of all.
    std::int64_t sum() const { return m_sum; }

private:
    std::vector<std::uint32_t> m_counts;
    std::size_t m_count = 0;
    std::int64_t m_longest = 0;
    std::int64_t m_last = 0;
    std::int64_t m_sum = 0;
};

} // namespace inspector
