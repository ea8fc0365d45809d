#pragma once

#include "inspector/home/home.h"

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace inspector {

/// The mean power of a short time, in watts; below zero the consumer delivers it.
struct PowerPoint {
    Moment time = 0;
    double watts = 0;
    /// Of how many readings.
    std::size_t count = 1;
};

/// What the energy counters of a meter showed on one day.
struct Day {
    /// Since the epoch, in the time zone of the log.
    std::int64_t number = 0;
    /// In watt-seconds, by the place in `measuredMembers`; 0 if unknown.
    std::array<double, measuredMembers.size()> first = {};
    std::array<double, measuredMembers.size()> last = {};
};

/// "2026-11-14"
std::string dayText(std::int64_t number);

/// How much of a course is kept.
struct CourseLimits {
    std::size_t points = 1440;
    std::size_t days = 14;
    /// Where there are more points, of all times fewer are kept, and not the last ones alone.
    bool isOfAllTimes = false;
};

/// What a meter showed in the last hours and days, which the model of a home doesn't keep.
class MeterCourse {
public:
    explicit MeterCourse(const CourseLimits& limits = {}) : m_limits(limits) {}

    /// Takes the last reading of the meter if it is new. @p poll: the number of the last poll. @p
    /// offset: of the log's time zone, in minutes ahead of UTC.
    void take(const Meter& meter, std::optional<std::size_t> poll, int offset);

    const std::deque<PowerPoint>& powers() const { return m_powers; }
    /// Of which time each is the mean.
    Moment pointLength() const { return m_pointLength; }
    const std::deque<Day>& days() const { return m_days; }
    /// Of the last reading, in watts, below zero if the consumer delivers it. Nothing if it is one
    /// of an earlier poll that stands in, or no number.
    std::optional<double> power() const { return m_power; }
    /// Whether what that reading holds of powers was read for it.
    bool isPowerRead() const { return m_isPowerRead; }
    /// Whether the last reading is of this poll, and something measured in it could be read.
    bool isAnswerOf(std::optional<std::size_t> poll) const {
        return m_answeredPoll && m_answeredPoll == poll;
    }
    /// Begin of the last reading in which the meter answered anything.
    std::optional<Moment> lastAnswer() const { return m_lastAnswer; }
    /// Whether a reading of it had this power, consumed or produced, so that it is 0 when it is
    /// missing.
    bool hadPower(std::size_t member) const { return m_hadPower[member]; }
    /// Readings in which a counter of energy was lower than before, or rose by more than the power
    /// explains.
    std::size_t decreases() const { return m_decreases; }
    std::size_t jumps() const { return m_jumps; }

private:
    void takePower(const LoggedReading& reading);
    void addPoint(Moment readAt, double watts);
    void makeRoom();
    void takeEnergies(const LoggedReading& reading, int offset);
    void takeCounters(const Meter& meter);

    CourseLimits m_limits;
    Moment m_last = 0;
    bool m_isPowerRead = false;
    std::optional<double> m_power;
    /// The last one in which something measured was read.
    std::optional<std::size_t> m_answeredPoll;
    std::optional<Moment> m_lastAnswer;
    std::deque<PowerPoint> m_powers;
    Moment m_pointLength = 15000;
    std::deque<Day> m_days;
    std::array<bool, firstEnergy> m_hadPower = {};
    std::size_t m_backwardsSeen = 0;
    std::size_t m_jumpsSeen = 0;
    std::size_t m_decreases = 0;
    std::size_t m_jumps = 0;
};

} // namespace inspector
