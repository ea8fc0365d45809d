#include "house/poll-account.h"

#include <algorithm>

namespace house {

PollAccount::PollAccount(const std::vector<Meter>& meters, std::size_t wanted)
    : m_meters(meters), m_wanted(wanted) {
    for (const Meter& meter : meters)
        m_slaveAddresses.insert(meter.slaveAddress);
}

void PollAccount::pollBegan(Time time) {
    // The time of a read comes in whole milliseconds, cut off.
    m_open.push_back({std::chrono::floor<std::chrono::milliseconds>(time), m_slaveAddresses});
    countIfComplete(pollsBegun(), m_open.back());
    if (m_open.size() > openPolls)
        closeOldest();
}

void PollAccount::closeOldest() {
    ++m_closed;
    if (m_closed <= m_wanted)
        addGaps(m_gaps, m_closed, m_open.front().awaited);
    m_open.pop_front();
}

std::size_t PollAccount::delivered(int slaveAddress, Time readBegan) {
    const auto isOfIt = [&](const Poll& poll) { return poll.began <= readBegan; };
    const auto poll = std::find_if(m_open.rbegin(), m_open.rend(), isOfIt);
    if (poll == m_open.rend())
        return 0;
    const std::size_t number = m_closed + static_cast<std::size_t>(m_open.rend() - poll);
    if (poll->awaited.erase(slaveAddress) > 0)
        countIfComplete(number, *poll);
    return number;
}

void PollAccount::countIfComplete(std::size_t number, const Poll& poll) {
    if (number <= m_wanted && poll.awaited.empty())
        ++m_complete;
}

std::vector<std::string> PollAccount::missing() const {
    Gaps gaps = m_gaps;
    std::size_t number = m_closed;
    for (const Poll& poll : m_open) {
        if (++number <= m_wanted)
            addGaps(gaps, number, poll.awaited);
    }
    // A poll that never began lacks all meters; no more of them are looked at than can be told.
    while (++number <= m_wanted && gaps.texts.size() < toldGaps && !m_meters.empty())
        addGaps(gaps, number, m_slaveAddresses);
    if (number <= m_wanted)
        gaps.count += (m_wanted - number + 1) * m_meters.size();
    if (gaps.count > gaps.texts.size())
        gaps.texts.push_back("and " + std::to_string(gaps.count - gaps.texts.size()) + " more");
    return gaps.texts;
}

void PollAccount::addGaps(Gaps& gaps, std::size_t number, const std::set<int>& awaited) const {
    gaps.count += awaited.size();
    for (const Meter& meter : m_meters) {
        if (gaps.texts.size() < toldGaps && awaited.contains(meter.slaveAddress))
            gaps.texts.push_back("poll " + std::to_string(number) + ": " + meter.name);
    }
}

} // namespace house
