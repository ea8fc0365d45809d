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
    m_slaveAddress = slaveAddress;
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

bool ShiftCheck::end() {
    std::vector<Value>& last = m_last[m_slaveAddress];
    std::size_t shifted = 0;
    for (const Value& now : m_now) {
        const auto same = std::find_if(
            last.begin(), last.end(), [&](const Value& x) { return x.fieldType == now.fieldType; });
        if (same == last.begin() || same == last.end())
            continue;
        // What moves slowly may have moved a little until the late answer was made.
        const double ahead = std::prev(same)->value;
        if (ahead != 0 && isNear(now.value, ahead, 0.001) && !isNear(now.value, same->value, 0.01))
            ++shifted;
    }
    constexpr std::size_t enough = 2;
    const bool isShifted = m_isSuspicious && shifted >= enough;
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
