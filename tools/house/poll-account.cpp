#include "house/poll-account.h"

#include <algorithm>
#include <utility>

namespace house {

PollAccount::PollAccount(std::vector<Meter> meters) : m_meters(std::move(meters)) {}

void PollAccount::pollBegan(Time time) {
    // The time of a read comes in whole milliseconds, cut off.
    m_polls.push_back({std::chrono::floor<std::chrono::milliseconds>(time), {}});
}

std::size_t PollAccount::delivered(int slaveAddress, Time readBegan) {
    const auto isOfIt = [&](const Poll& poll) { return poll.began <= readBegan; };
    const auto poll = std::find_if(m_polls.rbegin(), m_polls.rend(), isOfIt);
    if (poll == m_polls.rend())
        return 0;
    poll->slaveAddresses.insert(slaveAddress);
    return static_cast<std::size_t>(m_polls.rend() - poll);
}

bool PollAccount::isComplete(std::size_t polls) const {
    return m_polls.size() >= polls && missing(polls).empty();
}

std::vector<std::string> PollAccount::missing(std::size_t polls) const {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < polls; ++i) {
        for (const Meter& meter : m_meters) {
            if (i >= m_polls.size() || !m_polls[i].slaveAddresses.contains(meter.slaveAddress))
                result.push_back("poll " + std::to_string(i + 1) + ": " + meter.name);
        }
    }
    return result;
}

} // namespace house
