#pragma once

#include "inspector/home/home.h"
#include "inspector/home/poll.h"
#include "inspector/home/reading-checks.h"
#include "inspector/log/line.h"

#include <vector>

namespace inspector {

/// Enters polls into a home, meter by meter.
class MeterBook {
public:
    Home& home() { return m_home; }
    const Home& home() const { return m_home; }

    /// Enters a poll of a process, of which later ones have higher numbers, and empties it.
    void enter(Poll& poll, std::size_t process);
    /// Enters failures that no poll can be found for.
    void enterUnattributed(std::vector<FailedRead>& failures);
    /// The meter of a reading or a message. Without an id, the one that was read last at the
    /// address: one that was exchanged has left another there.
    std::size_t indexOf(int slaveAddress, std::string_view id);
    /// The list of attached meters has changed.
    void takeAttached(std::string reply);

    void noteTrouble(const TroubleKind& kind, const Line& line);

    void delivered(std::size_t meter);
    void lost(std::size_t meter);
    /// A message was lost, and the log doesn't tell whose.
    void lostUnknown();

    static constexpr std::size_t none = static_cast<std::size_t>(-1);

private:
    struct Side {
        ReadingChecks checks;
        /// The process that gave the last reading, whose values can stand in for failed ones.
        std::size_t process = 0;
        bool isInPoll = false;
        bool hasFailed = false;
    };

    std::size_t find(int slaveAddress, std::string_view id) const;
    bool isOfBefore(const LoggedReading& reading);
    void noteLateAnswers(const Poll& poll);
    void enterFailure(Failures& failures, const FailedRead& failure, bool hasPolls);
    void enterReading(const LoggedReading& reading, const std::vector<FailedRead>& failures,
                      std::size_t process);
    void noteEnd(const Poll& poll);
    void count(const Poll& poll);
    std::size_t add(Meter meter);

    Home m_home;
    std::vector<Side> m_sides;
    std::size_t m_failureKinds = 0;
    bool m_hasUnknownLosses = false;
    bool m_wasBlind = false;
};

} // namespace inspector
