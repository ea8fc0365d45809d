#include "inspector/live/meter-course.h"

#include <algorithm>
#include <cmath>

namespace inspector {
namespace {

constexpr Moment second = 1000;
constexpr Moment pointLength = 15 * second;
/// Six hours.
constexpr std::size_t mostPoints = 1440;
constexpr std::size_t mostDays = 14;

std::int64_t floorDivide(Moment dividend, Moment divisor) {
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

bool isPowerUnread(const Meter& meter, std::optional<std::size_t> poll) {
    using vxModel::ModbusFieldType;
    return std::any_of(meter.failures.begin(), meter.failures.end(), [&](const auto& x) {
        const auto& [kind, failure] = x;
        return (kind.place.fieldType == ModbusFieldType::powerImport ||
                kind.place.fieldType == ModbusFieldType::powerExport) &&
               failure.longestRun && failure.poll == poll;
    });
}

} // namespace

void MeterCourse::take(const Meter& meter, std::optional<std::size_t> poll, int offset) {
    if (!meter.last || meter.last->time == m_last)
        return;
    m_last = meter.last->time;
    // What stands in for a value that could not be read is none of that time.
    if (!isPowerUnread(meter, poll))
        takePower(*meter.last);
    takeEnergies(*meter.last, offset);
    takeCounters(meter);
}

void MeterCourse::takePower(const LoggedReading& reading) {
    const double watts = reading.values[0] - reading.values[1];
    if (std::isnan(watts))
        return;
    for (std::size_t i = 0; i < firstEnergy; ++i)
        m_hadPower[i] = m_hadPower[i] || reading.values[i] != 0;
    const Moment time = floorDivide(reading.time, pointLength) * pointLength;
    if (!m_powers.empty() && m_powers.back().time == time) {
        PowerPoint& point = m_powers.back();
        ++m_inPoint;
        point.watts += (watts - point.watts) / static_cast<double>(m_inPoint);
        return;
    }
    // A clock that was set back begins anew.
    while (!m_powers.empty() && m_powers.back().time > time)
        m_powers.pop_back();
    if (m_powers.size() == mostPoints)
        m_powers.pop_front();
    m_powers.push_back({time, watts});
    m_inPoint = 1;
}

void MeterCourse::takeEnergies(const LoggedReading& reading, int offset) {
    constexpr Moment minute = 60 * second;
    constexpr Moment day = 24 * 60 * minute;
    const std::int64_t number = floorDivide(reading.time + offset * minute, day);
    while (!m_days.empty() && m_days.back().number > number)
        m_days.pop_back();
    if (m_days.empty() || m_days.back().number != number) {
        if (m_days.size() == mostDays)
            m_days.pop_front();
        Day next{number};
        // What was consumed between the last reading of yesterday and the first of today counts for
        // today.
        if (!m_days.empty() && m_days.back().number + 1 == number)
            next.first = m_days.back().last;
        m_days.push_back(next);
    }
    Day& today = m_days.back();
    for (std::size_t i = firstEnergy; i < measuredMembers.size(); ++i) {
        if (reading.values[i] == 0 || std::isnan(reading.values[i]))
            continue;
        if (today.first[i] == 0)
            today.first[i] = reading.values[i];
        // What a counter falls is nothing that flowed back.
        else if (reading.values[i] < today.last[i])
            today.first[i] -= today.last[i] - reading.values[i];
        today.last[i] = reading.values[i];
    }
}

void MeterCourse::takeCounters(const Meter& meter) {
    std::size_t backwards = 0;
    std::size_t jumps = 0;
    for (const Counter& counter : meter.counters) {
        backwards += counter.backwards.count;
        jumps += counter.jumps.count;
    }
    m_decreases += backwards > m_backwardsSeen ? 1 : 0;
    m_jumps += jumps > m_jumpsSeen ? 1 : 0;
    m_backwardsSeen = backwards;
    m_jumpsSeen = jumps;
}

} // namespace inspector
