#pragma once

#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "house/home.h"

namespace house {

/// Keeps account of which meter delivered in which poll. A message belongs to the poll in which its
/// read began, however late it arrives: the reader writes a poll's messages after the poll, and
/// ends their connections only after the next one.
class PollAccount {
public:
    using Time = std::chrono::system_clock::time_point;

    explicit PollAccount(std::vector<Meter> meters);

    void pollBegan(Time time);
    /// Gives the number of the poll that the message belongs to, counted from 1. A message whose
    /// read began ahead of the first poll is left out, with 0.
    std::size_t delivered(int slaveAddress, Time readBegan);

    std::size_t pollsBegun() const { return m_polls.size(); }
    /// Whether every meter delivered in each of the first @p polls polls.
    bool isComplete(std::size_t polls) const;
    /// What is missing of the first @p polls polls, as texts like "poll 2: Wallbox".
    std::vector<std::string> missing(std::size_t polls) const;

private:
    struct Poll {
        Time began;
        std::set<int> slaveAddresses;
    };

    std::vector<Meter> m_meters;
    std::vector<Poll> m_polls;
};

} // namespace house
