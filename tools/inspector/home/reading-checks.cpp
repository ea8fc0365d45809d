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

void ReadingChecks::step(Counter& counter, Track& track, double value, std::size_t member,
                         Moment time) {
    const double step = value - track.value;
    const double seconds = std::max(0.001, static_cast<double>(time - track.since) / 1000);
    // Simulated homes may run faster than the clock, so the power alone is a weak witness.
    const double byPower = 1000 * m_largestPower[member % 2] * seconds;
    const double byPast = 10 * track.largestRate * seconds;
    constexpr std::size_t enough = 3;
    const double usual = track.steps < enough
                             ? 5 * kilowattHour
                             : std::max(10 * track.largestStep, 0.2 * kilowattHour);
    const double most =
        std::max({usual, byPower, track.steps < enough ? 0 : byPast, 8 * precisionOf(value)});
    if (step > most) {
        counter.jumps.add(time);
        counter.jumpFrom = track.value;
        counter.jumpTo = value;
        return;
    }
    ++track.steps;
    track.largestStep = std::max(track.largestStep, step);
    track.largestRate = std::max(track.largestRate, step / seconds);
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
        step(counter, track, value, member, reading.time);
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
