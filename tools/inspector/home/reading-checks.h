#pragma once

#include "inspector/home/home.h"

#include <array>

namespace inspector {

/// Looks at the readings of one meter, one after another, for energy counters that do what a
/// counter doesn't.
class ReadingChecks {
public:
    /// Takes the next reading. @p isSameProcess: the values that stand in for failed ones are those
    /// of the reading before. @p failed holds the members whose registers could not be read.
    void take(Meter& meter, const LoggedReading& reading, bool isSameProcess,
              const std::array<bool, measuredMembers.size()>& failed);

private:
    struct Track {
        /// The last value that differed from the one before, and when it came.
        double value = 0;
        Moment since = 0;
        /// Watt-seconds that the power explains since then.
        double explained = 0;
        /// Of the steps so far, in watt-seconds.
        double largestStep = 0;
        double largestRate = 0;
        /// How many times more than the power explains came in a time.
        double largestPace = 1;
        std::size_t steps = 0;
    };

    void check(Counter& counter, Track& track, const LoggedReading& reading, std::size_t member,
               bool isSameProcess);
    void step(Counter& counter, Track& track, const LoggedReading& reading, std::size_t member);
    double mostOf(const Track& track, double value, double seconds, std::size_t direction) const;

    bool m_hasLast = false;
    LoggedReading m_last;
    /// In watts, of what flows to the consumer and from it.
    std::array<double, 2> m_largestPower = {};
    std::array<Track, measuredMembers.size() - firstEnergy> m_tracks = {};
};

} // namespace inspector
