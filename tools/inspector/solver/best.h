#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

namespace inspector {

/// The best of what was found, and how many more there are.
template <class T>
struct Ranked {
    std::vector<T> best = {};
    std::size_t leftOut = 0;
};

/// Keeps the most plausible of any number, of equal ones those that came first.
template <class T>
class Best {
public:
    explicit Best(std::size_t most) : m_most(most) {}

    /// Counts one, and says whether it may be among the best.
    bool counts(double plausibility) {
        ++m_all;
        return plausibility > m_least;
    }
    /// Of what counts.
    void add(T found) {
        m_kept.push_back(std::move(found));
        if (m_kept.size() >= 2 * m_most)
            drop();
    }
    /// Of what counted, but turned out to be none.
    void forget() { --m_all; }

    Ranked<T> take() {
        drop();
        const std::size_t leftOut = m_all - m_kept.size();
        return {std::move(m_kept), leftOut};
    }

private:
    void drop() {
        std::stable_sort(m_kept.begin(), m_kept.end(),
                         [](const T& a, const T& b) { return a.plausibility > b.plausibility; });
        if (m_kept.size() <= m_most)
            return;
        m_kept.erase(m_kept.begin() + static_cast<std::ptrdiff_t>(m_most), m_kept.end());
        m_least = m_kept.back().plausibility;
    }

    std::size_t m_most;
    std::size_t m_all = 0;
    double m_least = -std::numeric_limits<double>::infinity();
    std::vector<T> m_kept = {};
};

} // namespace inspector
