#include "inspector/home/shift-check.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace inspector {
namespace {

bool isNear(double a, double b, double share) {
    return std::abs(a - b) <= share * std::max(std::abs(a), std::abs(b));
}

} // namespace

void ShiftCheck::begin(int slaveAddress) {
    m_before = std::exchange(m_slaveAddress, slaveAddress);
    m_now.clear();
    m_hasFailed = false;
}

void ShiftCheck::take(double value, std::string_view fieldType) {
    constexpr std::size_t most = 1000;
    if (m_now.size() < most)
        m_now.push_back({value, std::string(fieldType)});
}

void ShiftCheck::fail(bool isTimeout) {
    m_hasFailed = true;
    m_isSuspicious = m_isSuspicious || isTimeout;
}

/// Whether each value stands at the next register, compared with those of the last whole read.
bool ShiftCheck::areShifted(const std::vector<Value>& last) const {
    std::size_t shifted = 0;
    std::size_t strange = 0;
    bool isFirstShifted = false;
    for (const Value& now : m_now) {
        const auto same = std::find_if(
            last.begin(), last.end(), [&](const Value& x) { return x.fieldType == now.fieldType; });
        if (same == last.end() || isNear(now.value, same->value, 0.01))
            continue;
        ++strange;
        // Ahead of the first one, the line carried the last one of the read before.
        const bool isFirst = same == last.begin();
        if (isFirst && m_before != m_slaveAddress)
            continue;
        // What moves slowly may have moved a little until the late answer was made.
        const double ahead = isFirst ? last.back().value : std::prev(same)->value;
        if (ahead == 0 || !isNear(now.value, ahead, 0.001))
            continue;
        ++shifted;
        isFirstShifted = isFirstShifted || isFirst;
    }
    // Of two registers the second may show the power, which is another one each time.
    const bool areExchanged = isFirstShifted && strange == 2 && last.size() == 2;
    constexpr std::size_t enough = 2;
    return shifted >= enough || areExchanged;
}

bool ShiftCheck::end() {
    std::vector<Value>& last = m_last[m_slaveAddress];
    const bool isShifted = m_isSuspicious && areShifted(last);
    constexpr std::size_t mostMeters = 1000;
    if (!isShifted && !m_hasFailed) {
        last = std::move(m_now);
        m_isSuspicious = false;
    }
    if (m_last.size() > mostMeters)
        m_last.clear();
    m_now.clear();
    return isShifted;
}

} // namespace inspector
