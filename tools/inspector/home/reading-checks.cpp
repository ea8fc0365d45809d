#include "inspector/home/reading-checks.h"

#include <algorithm>
#include <cmath>

namespace inspector {
namespace {

constexpr double kilowattHour = 3.6e6;
/// Between two readings that are further apart the power may have been anything.
constexpr Moment longestStep = 600000;

/// The daemon's numbers have single precision.
double precisionOf(double value) {
    const auto number = static_cast<float>(value);
    return static_cast<double>(std::nextafter(number, INFINITY)) - static_cast<double>(number);
}

} // namespace

/// The energy that a counter may grow by in this time before it jumps, in watt-seconds.
double ReadingChecks::mostOf(const Track& track, double value, double seconds,
                             std::size_t direction) const {
    // In watts, of a meter that shows no power.
    constexpr double mostOfAHouse = 50000;
    constexpr std::size_t enough = 3;
    const double power = m_largestPower[direction];
    // Until some steps tell, the home may be a simulated one, whose time runs faster than the
    // clock, and the map may show the power in another unit.
    if (track.steps < enough)
        return std::max({5 * kilowattHour, 10000 * power * seconds, 8 * precisionOf(value)});
    const double byPower = 10 * track.largestPace * (power > 0 ? power : mostOfAHouse) * seconds;
    const double byPast = std::max(10 * track.largestStep, 10 * track.largestRate * seconds);
    return std::max({0.2 * kilowattHour, byPower, byPast, 8 * precisionOf(value)});
}

void ReadingChecks::step(Counter& counter, Track& track, const LoggedReading& reading,
                         std::size_t member) {
    const std::size_t direction = member % 2;
    const double value = reading.values[member];
    const double step = value - track.value;
    const double seconds = std::max(0.001, inSeconds(reading.time - track.since));
    if (step > mostOf(track, value, seconds, direction)) {
        counter.jumps.add(reading.time);
        counter.jumpFrom = track.value;
        counter.jumpTo = value;
        return;
    }
    track.largestStep = std::max(track.largestStep, step);
    // When the first value came to be is unknown, and so how long its step took.
    if (track.steps++ == 0)
        return;
    const double rate = step / seconds;
    track.largestRate = std::max(track.largestRate, rate);
    // Between two readings the power may have been higher than at both.
    const double power = std::max(
        {m_largestPower[direction] / 10, m_last.values[direction], reading.values[direction]});
    if (power > 0)
        track.largestPace = std::max(track.largestPace, rate / power);
}

void ReadingChecks::check(Counter& counter, Track& track, const LoggedReading& reading,
                          std::size_t member, bool isSameProcess) {
    const double value = reading.values[member];
    // A zero is left out of a message, and so is a value that never was; but in one process a value
    // that can't be read is carried on, so what vanishes has become zero.
    if (value <= 0 && (track.value <= 0 || !isSameProcess))
        return;
    if (track.value > 0 && value < track.value) {
        counter.backwards.add(reading.time);
        counter.backwardsFrom = track.value;
        counter.backwardsTo = value;
    } else if (track.value > 0 && value > track.value) {
        step(counter, track, reading, member);
    } else if (track.value > 0 && reading.time > m_last.time &&
               reading.time - m_last.time < longestStep) {
        const double power = std::min(reading.values[member % 2], m_last.values[member % 2]);
        track.explained +=
            std::max(0.0, power) * static_cast<double>(reading.time - m_last.time) / 1000;
        const double most =
            track.steps > 0
                ? std::max({0.25 * kilowattHour, 3 * track.largestStep, 4 * precisionOf(value)})
                : 2.5 * kilowattHour;
        if (track.explained > most) {
            if (!counter.isStill)
                counter.still.add(track.since);
            counter.isStill = true;
            counter.stillUntil = reading.time;
        }
        return;
    }
    counter.isStill = false;
    track.value = value;
    track.since = reading.time;
    track.explained = 0;
}

void ReadingChecks::take(Meter& meter, const LoggedReading& reading, bool isSameProcess,
                         const std::array<bool, measuredMembers.size()>& failed) {
    if (m_hasLast && reading.time == m_last.time)
        return;
    // A clock that was set back begins anew.
    if (m_hasLast && reading.time < m_last.time)
        *this = ReadingChecks();
    for (std::size_t direction = 0; direction < m_largestPower.size(); ++direction)
        m_largestPower[direction] = std::max(m_largestPower[direction], reading.values[direction]);
    for (std::size_t member = firstEnergy; member < measuredMembers.size(); ++member) {
        // Of the tariffs only one counts at a time, so no power tells of them.
        const bool isTotal = member < firstEnergy + 2;
        Counter& counter = meter.counters[member - firstEnergy];
        Track& track = m_tracks[member - firstEnergy];
        if (failed[member] || std::isnan(reading.values[member]))
            track.explained = 0;
        else
            check(counter, track, reading, member, isSameProcess);
        if (!isTotal)
            track.explained = 0;
    }
    m_last = reading;
    m_hasLast = true;
}

} // namespace inspector
