#include "inspector/home/length-histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace inspector {
namespace {

// As many values lie between two powers of two, from the second one on.
constexpr int bits = 12;
constexpr std::int64_t values = std::int64_t{1} << bits;

std::size_t placeOf(std::int64_t length) {
    const auto number = static_cast<std::uint64_t>(length);
    const int shift = std::max(0, static_cast<int>(std::bit_width(number)) - bits - 1);
    return static_cast<std::size_t>(shift * values) + static_cast<std::size_t>(number >> shift);
}

std::int64_t lengthAt(std::size_t place) {
    const auto number = static_cast<std::int64_t>(place);
    const std::int64_t shift = std::max<std::int64_t>(0, number / values - 1);
    return (number - shift * values) << shift;
}

} // namespace

void LengthHistogram::add(std::int64_t milliseconds) {
    constexpr std::int64_t longestCounted = std::int64_t{1} << 40;
    const std::size_t place = placeOf(std::clamp<std::int64_t>(milliseconds, 0, longestCounted));
    if (place >= m_counts.size())
        m_counts.resize(place + 1);
    ++m_counts[place];
    ++m_count;
    m_longest = std::max(m_longest, milliseconds);
    m_last = milliseconds;
    m_sum += milliseconds;
}

std::optional<std::int64_t> LengthHistogram::quantile(double share) const {
    const auto wanted = static_cast<std::size_t>(std::ceil(share * static_cast<double>(m_count)));
    std::size_t found = 0;
    for (std::size_t place = 0; place < m_counts.size(); ++place) {
        found += m_counts[place];
        if (found > 0 && found >= wanted)
            return lengthAt(place);
    }
    return std::nullopt;
}

} // namespace inspector
