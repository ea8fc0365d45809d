#include "inspector/home/meter-book.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/home/attribution.h"
#include "modbus/server-replies.h"

#include <algorithm>
#include <exception>
#include <set>

namespace inspector {
namespace {

// A bus has 247 addresses; more comes of a log that is none.
constexpr std::size_t mostMeters = 1000;
constexpr std::size_t mostFailureKinds = 20000;

void increment(std::optional<std::size_t>& number, std::size_t by = 1) {
    number = number.value_or(0) + by;
}

std::size_t memberAt(std::string_view name) {
    const auto* const found = std::find(measuredMembers.begin(), measuredMembers.end(), name);
    return static_cast<std::size_t>(found - measuredMembers.begin());
}

} // namespace

std::size_t MeterBook::add(Meter meter) {
    if (m_home.meters.size() == mostMeters) {
        ++m_home.leftOut;
        return none;
    }
    m_home.meters.push_back(std::move(meter));
    m_sides.emplace_back();
    return m_home.meters.size() - 1;
}

std::size_t MeterBook::find(int slaveAddress, std::string_view id) const {
    std::size_t found = none;
    for (std::size_t i = 0; i < m_home.meters.size(); ++i) {
        const Meter& meter = m_home.meters[i];
        if (meter.slaveAddress != slaveAddress)
            continue;
        if (!id.empty() && meter.id == id)
            return i;
        if ((id.empty() || meter.id.empty()) &&
            (found == none || isNewer(meter, m_home.meters[found])))
            found = i;
    }
    return found;
}

std::size_t MeterBook::indexOf(int slaveAddress, std::string_view id) {
    if (const std::size_t found = find(slaveAddress, id); found != none) {
        if (m_home.meters[found].id.empty())
            m_home.meters[found].id = id;
        return found;
    }
    Meter meter;
    meter.slaveAddress = slaveAddress;
    meter.id = id;
    // One that took the place of another has its place on the list, too.
    if (const std::size_t before = find(slaveAddress, {}); before != none) {
        meter.name = m_home.meters[before].name;
        meter.configId = m_home.meters[before].configId;
        meter.isAttached = m_home.meters[before].isAttached;
    }
    return add(std::move(meter));
}

void MeterBook::takeAttached(std::string reply) {
    m_home.attachedReply = std::move(reply);
    for (Meter& meter : m_home.meters)
        meter.isAttached = false;
    try {
        const auto attached =
            vx::fromJson<orv::modbusreader::AttachedMetersReply>(m_home.attachedReply.c_str());
        for (const vxModel::ModbusMeter& x : attached.data) {
            const std::size_t i = indexOf(x.slaveAddress & 0xFF, x.serial.substr(0, longestName));
            if (i == none)
                return;
            m_home.meters[i].isAttached = true;
            m_home.meters[i].name = x.name.substr(0, longestName);
            m_home.meters[i].configId = x.configId.substr(0, longestName);
        }
    } catch (const std::exception&) {
        // The daemon's list is empty then, too, until one comes that it can read.
        m_home.attachedReply.clear();
    }
}

void MeterBook::enterFailure(Failures& failures, const FailedRead& failure, bool hasPolls) {
    auto found = failures.find(failure.kind);
    if (found == failures.end()) {
        if (m_failureKinds == mostFailureKinds) {
            ++m_home.leftOut;
            return;
        }
        ++m_failureKinds;
        found = failures.emplace(failure.kind, RegisterFailure()).first;
    }
    RegisterFailure& entry = found->second;
    entry.seen.add(failure.time);
    if (!hasPolls)
        return;
    const std::size_t poll = m_home.polls.value_or(0);
    if (entry.seen.count > 1 && entry.poll == poll)
        return;
    entry.run = entry.seen.count > 1 && entry.poll + 1 == poll ? entry.run + 1 : 1;
    entry.poll = poll;
    entry.longestRun = std::max(entry.longestRun.value_or(0), entry.run);
}

void MeterBook::enterReading(const LoggedReading& reading, const std::vector<FailedRead>& failures,
                             std::size_t process) {
    const std::size_t index = indexOf(reading.slaveAddress, reading.id);
    if (index == none)
        return;
    Meter& meter = m_home.meters[index];
    Side& side = m_sides[index];
    side.isInPoll = true;
    // The end of an earlier process may become known behind what a later one read.
    if (process < side.process && meter.last && reading.time <= meter.last->time)
        return;
    const bool isSameProcess = side.process == process;
    std::array<bool, measuredMembers.size()> failed{};
    std::size_t carried = 0;
    bool isGood = true;
    for (const FailedRead& failure : failures) {
        if (failure.slaveAddress != reading.slaveAddress)
            continue;
        isGood = false;
        const FieldFacts& facts = factsOf(failure.kind.place.fieldType);
        carried += facts.carried ? 1 : 0;
        if (const std::size_t member = memberAt(facts.member); member < failed.size())
            failed[member] = true;
    }
    meter.carried = meter.carried.value_or(0) + (isSameProcess ? carried : 0);
    if (isGood)
        meter.lastGood = reading.time;
    meter.last = reading;
    side.checks.take(meter, reading, isSameProcess, failed);
    side.process = process;
}

/// Whether each value of the reading may stand in for one that could not be read.
bool MeterBook::isOfBefore(const LoggedReading& reading) {
    const std::size_t i = indexOf(reading.slaveAddress, reading.id);
    if (i == none)
        return false;
    const auto& last = m_home.meters[i].last;
    for (std::size_t member = 0; member < reading.values.size(); ++member)
        if (reading.values[member] != 0 &&
            (!last || reading.values[member] != last->values[member]))
            return false;
    return true;
}

/// Notes the marks of a line on which each answer is taken for that of the next request: on Modbus
/// TCP no answer fits, on RS-485 the first one to each meter comes from another.
void MeterBook::noteLateAnswers(const Poll& poll) {
    if (poll.failures.empty())
        return;
    std::set<int> failed;
    std::set<int> wrongSlaves;
    bool isAllBad = true;
    for (const FailedRead& failure : poll.failures) {
        isAllBad = isAllBad && failure.kind.kind == "bad-data";
        if (!failure.slaveAddress)
            continue;
        failed.insert(*failure.slaveAddress);
        if (failure.kind.kind == "wrong-slave")
            wrongSlaves.insert(*failure.slaveAddress);
    }
    const auto isUnread = [&](const LoggedReading& x) {
        return failed.contains(x.slaveAddress) && isOfBefore(x);
    };
    const Moment time = poll.failures.front().time;
    constexpr std::size_t several = 3;
    if (isAllBad && poll.failures.size() >= several && !poll.hasValues && !poll.readings.empty() &&
        std::all_of(poll.readings.begin(), poll.readings.end(), isUnread))
        m_home.lateAnswers["no-answer-fits"].add(time);
    if (wrongSlaves.size() >= 2)
        m_home.lateAnswers["answers-of-others"].add(time);
}

void MeterBook::noteEnd(const Poll& poll) {
    const bool isBlind = poll.isBlind && !poll.addresses;
    // Of a poll at the log's end, which misses its messages, nothing is known either.
    if (!isBlind && !(poll.isPart && m_wasBlind) && poll.end > 0)
        m_home.lastTold = poll.end;
    m_wasBlind = isBlind;
}

/// Counts the poll for the meters that were read in it or should have been.
void MeterBook::count(const Poll& poll) {
    const std::vector<std::size_t> places = presentMeters(m_home);
    const std::set<std::size_t> present(places.begin(), places.end());
    for (std::size_t i = 0; i < m_sides.size(); ++i) {
        Side& side = m_sides[i];
        Meter& meter = m_home.meters[i];
        const bool isKnown = poll.addresses || !poll.isBlind;
        const bool isDue = isKnown && (side.isInPoll || (!poll.addresses && present.contains(i)));
        if (!poll.isPart) {
            increment(meter.polls, isDue ? 1 : 0);
            increment(meter.goodPolls, isDue && side.isInPoll && !side.hasFailed ? 1 : 0);
        }
        side.isInPoll = false;
        side.hasFailed = false;
    }
}

void MeterBook::enter(Poll& poll, std::size_t process) {
    if (!poll.isPart)
        increment(m_home.polls);
    if (!poll.isBlind && !poll.addresses)
        attribute(poll, m_home);
    noteLateAnswers(poll);
    for (const LoggedReading& reading : poll.readings)
        enterReading(reading, poll.failures, process);
    // Behind the readings, which tell of an exchanged meter.
    if (poll.addresses)
        for (const int address : *poll.addresses)
            if (const std::size_t i = indexOf(address, {}); i != none)
                m_sides[i].isInPoll = true;
    for (const FailedRead& failure : poll.failures) {
        const std::size_t i = failure.slaveAddress ? indexOf(*failure.slaveAddress, {}) : none;
        if (i != none)
            m_sides[i].hasFailed = true;
        enterFailure(i == none ? m_home.unattributed : m_home.meters[i].failures, failure,
                     !poll.isPart);
    }
    noteEnd(poll);
    count(poll);
    poll = Poll();
}

void MeterBook::enterUnattributed(std::vector<FailedRead>& failures) {
    for (const FailedRead& failure : failures)
        enterFailure(m_home.unattributed, failure, false);
    failures.clear();
}

void MeterBook::noteTrouble(const TroubleKind& kind, const Line& line) {
    Trouble& trouble = m_home.troubles[kind];
    // Lines of others have no time of their own.
    trouble.seen.add(line.kind == LineKind::log ? line.time : m_home.last.value_or(0));
    constexpr std::size_t longest = 300;
    trouble.line = line.text.substr(0, longest);
}

void MeterBook::delivered(std::size_t meter) {
    increment(m_home.delivered);
    increment(m_home.lost, 0);
    if (meter == none)
        return;
    increment(m_home.meters[meter].delivered);
    if (!m_hasUnknownLosses)
        increment(m_home.meters[meter].lost, 0);
}

void MeterBook::lost(std::size_t meter) {
    increment(m_home.lost);
    if (meter != none && !m_hasUnknownLosses)
        increment(m_home.meters[meter].lost);
}

void MeterBook::lostUnknown() {
    increment(m_home.lost);
    m_hasUnknownLosses = true;
    for (Meter& meter : m_home.meters)
        meter.lost.reset();
}

} // namespace inspector
