#include "inspector/live/meter-course.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/live/answers.h"
#include "vx/date-time.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace inspector {
namespace {

constexpr Moment second = 1000;

std::int64_t floorDivide(Moment dividend, Moment divisor) {
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

/// Whether a register that fills a member of the reading failed in a poll.
template <class IsMember>
bool isUnread(const Meter& meter, std::optional<std::size_t> poll, IsMember isMember) {
    return std::any_of(meter.failures.begin(), meter.failures.end(), [&](const auto& x) {
        const auto& [kind, failure] = x;
        if (!isInPoll(failure, poll))
            return false;
        const FieldFacts& facts = factsOf(kind.place.fieldType);
        return isMember(facts.member) || isMember(facts.memberOfNegative);
    });
}

bool isPowerUnread(const Meter& meter, std::optional<std::size_t> poll) {
    return isUnread(meter, poll, [](std::string_view member) {
        return member == measuredMembers[0] || member == measuredMembers[1];
    });
}

bool isAnswered(const Meter& meter, std::optional<std::size_t> poll) {
    for (std::size_t i = 0; i < measuredMembers.size(); ++i)
        if (meter.last->values[i] != 0 &&
            !isUnread(meter, poll, [i](std::string_view x) { return x == measuredMembers[i]; }))
            return true;
    return false;
}

} // namespace

std::string dayText(std::int64_t number) {
    constexpr Moment day = second * 3600 * 24;
    return vx::toString(vx::DateTime(std::chrono::milliseconds(number * day))).substr(0, 10);
}

void MeterCourse::take(const Meter& meter, std::optional<std::size_t> poll, int offset) {
    if (!meter.last || meter.last->time == m_last)
        return;
    m_last = meter.last->time;
    const bool isAnswer = isAnswered(meter, poll);
    if (isAnswer)
        m_answeredPoll = poll;
    // What the message of a dead meter holds is not its own.
    if (isAnswer || !gaveNoAnswer(meter, poll))
        m_lastAnswer = m_last;
    m_isPowerRead = !isPowerUnread(meter, poll);
    takePower(*meter.last);
    takeEnergies(*meter.last, offset);
    takeCounters(meter);
}

void MeterCourse::takePower(const LoggedReading& reading) {
    m_power.reset();
    // What stands in for a value that could not be read is none of that time.
    if (!m_isPowerRead)
        return;
    for (std::size_t i = 0; i < firstEnergy; ++i)
        m_hadPower[i] = m_hadPower[i] || reading.values[i] != 0;
    const double watts = reading.values[0] - reading.values[1];
    if (std::isnan(watts))
        return;
    m_power = watts;
    addPoint(reading.time, watts);
}

void MeterCourse::addPoint(Moment readAt, double watts) {
    const auto timeOfPoint = [&](Moment time) {
        return floorDivide(time, m_pointLength) * m_pointLength;
    };
    if (m_powers.size() == m_limits.points && m_powers.back().time < timeOfPoint(readAt))
        makeRoom();
    const Moment time = timeOfPoint(readAt);
    // A clock that was set back begins anew.
    while (!m_powers.empty() && m_powers.back().time > time)
        m_powers.pop_back();
    if (m_powers.empty() || m_powers.back().time != time) {
        m_powers.push_back({time, watts});
        return;
    }
    PowerPoint& point = m_powers.back();
    ++point.count;
    point.watts += (watts - point.watts) / static_cast<double>(point.count);
}

void MeterCourse::makeRoom() {
    if (!m_limits.isOfAllTimes) {
        m_powers.pop_front();
        return;
    }
    m_pointLength *= 2;
    const std::deque<PowerPoint> finer = std::exchange(m_powers, {});
    for (const PowerPoint& x : finer) {
        const Moment time = floorDivide(x.time, m_pointLength) * m_pointLength;
        if (m_powers.empty() || m_powers.back().time != time) {
            m_powers.push_back({time, x.watts, x.count});
            continue;
        }
        PowerPoint& point = m_powers.back();
        point.count += x.count;
        point.watts += (x.watts - point.watts) * static_cast<double>(x.count) /
                       static_cast<double>(point.count);
    }
}

void MeterCourse::takeEnergies(const LoggedReading& reading, int offset) {
    constexpr Moment minute = 60 * second;
    constexpr Moment day = minute * 60 * 24;
    const std::int64_t number = floorDivide(reading.time + offset * minute, day);
    while (!m_days.empty() && m_days.back().number > number)
        m_days.pop_back();
    if (m_days.empty() || m_days.back().number != number) {
        if (m_days.size() == m_limits.days)
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
        const double value = reading.values[i];
        if (value == 0 || std::isnan(value))
            continue;
        const double before = today.last[i] != 0 ? today.last[i] : today.first[i];
        if (before == 0)
            today.first[i] = value;
        // What a counter falls, overnight too, is nothing that flowed back.
        else if (value < before)
            today.first[i] -= before - value;
        today.last[i] = value;
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
