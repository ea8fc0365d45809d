#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "house/home.h"

namespace house {

/// Keeps account of which meter delivered in which poll. A message belongs to the poll in which its
/// read began, however late it arrives: the reader writes a poll's messages after the poll, and
/// ends their connections only after the next one.
///
/// It remembers the latest polls only, so it costs the same after the millionth poll as after the
/// first one.
class PollAccount {
public:
    using Time = std::chrono::system_clock::time_point;

    /// How many polls are open to late messages, and how many gaps are told.
    static constexpr std::size_t openPolls = 100;
    static constexpr std::size_t toldGaps = 20;

    /// Looks for gaps in the first @p wanted polls.
    PollAccount(const std::vector<Meter>& meters, std::size_t wanted);

    void pollBegan(Time time);
    /// Gives the number of the poll that the message belongs to, counted from 1. A message of no
    /// open poll is left out, with 0.
    std::size_t delivered(int slaveAddress, Time readBegan);

    std::size_t pollsBegun() const { return m_closed + m_open.size(); }
    /// Whether every meter delivered in each wanted poll.
    bool isComplete() const { return m_complete == m_wanted; }
    /// What is missing of the wanted polls, as texts like "poll 2: Wallbox". The first ones are
    /// told, the rest is counted.
    std::vector<std::string> missing() const;

private:
    struct Poll {
        Time began;
        /// Slave addresses of the meters that have not delivered.
        std::set<int> awaited;
    };

    /// Texts up to `toldGaps`, and the number of all.
    struct Gaps {
        std::vector<std::string> texts;
        std::size_t count = 0;
    };

    void closeOldest();
    void countIfComplete(std::size_t number, const Poll& poll);
    void addGaps(Gaps& gaps, std::size_t number, const std::set<int>& awaited) const;

    const std::vector<Meter> m_meters;
    const std::size_t m_wanted;
    std::set<int> m_slaveAddresses;
    std::deque<Poll> m_open;
    std::size_t m_closed = 0;
    std::size_t m_complete = 0;
    /// Those of the closed polls.
    Gaps m_gaps;
};

} // namespace house
