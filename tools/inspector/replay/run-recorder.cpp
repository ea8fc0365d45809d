#include "inspector/replay/run-recorder.h"

#include "vx/date-time.h"

#include <chrono>

namespace inspector {
namespace {

std::string timeText(std::int64_t milliseconds) {
    return vx::toString(
        std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds)));
}

std::string pollsText(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " poll" : " polls");
}

} // namespace

RunRecorder::RunRecorder(std::uint32_t thread, bool showsStart, const TimeSpan& wanted)
    : m_thread(thread),
      m_showsStart(showsStart),
      m_wanted(wanted),
      m_listener([this](const RecordedPoll& poll) { add(poll); }) {}

void RunRecorder::take(const Line& line) {
    m_listener.take(line);
}

void RunRecorder::add(const RecordedPoll& poll) {
    if (!m_wanted.has(poll.time)) {
        ++m_counts.outside;
        m_beginsLate = m_beginsLate || m_counts.polls == 0;
        return;
    }
    if (poll.extent == RecordedPoll::Extent::damaged) {
        ++m_counts.damaged;
        return;
    }
    if (m_counts.beyond > 0 || !m_text.add(poll)) {
        ++m_counts.beyond;
        return;
    }
    m_first = m_counts.polls == 0 ? poll.time : m_first;
    m_last = poll.time;
    ++m_counts.polls;
    m_isBrokenOff = poll.extent == RecordedPoll::Extent::begun;
}

std::string RunRecorder::times() const {
    return "from " + timeText(m_first) + " to " + timeText(m_last);
}

std::string RunRecorder::span() const {
    return pollsText(m_counts.polls) + " " + times();
}

std::string RunRecorder::home(const std::vector<std::string>& about) const {
    return m_text.home(about, m_listener.bus());
}

/// With how to play the recording, as on the other kind of bus reads fail in other ways.
std::string RunRecorder::busNote() const {
    if (m_listener.connection().empty())
        return "the log doesn't tell the kind of bus: if it was a serial line, play it with --rtu";
    std::string note = "the bus of that time";
    if (!m_listener.bus().empty())
        note += m_listener.bus() == rtuBus ? ", to be played with --rtu"
                                           : ", to be played without --rtu";
    return note + ": " + m_listener.connection();
}

std::vector<std::string> RunRecorder::notes() const {
    std::vector<std::string> notes{pollsText(m_counts.polls) +
                                   " of the reader with the process number " +
                                   std::to_string(m_thread) + ", " + times()};
    notes.push_back(busNote());
    if (m_beginsLate || (!m_showsStart && !m_listener.isFromStart())) {
        notes.emplace_back(
            "it begins in the midst of a run: values that stood in for registers since before are "
            "missing until their register is read, and where the server fails at first the reader "
            "has no bus or no list of meters until it answers");
    }
    if (m_counts.damaged > 0)
        notes.push_back(pollsText(m_counts.damaged) +
                        " left out, as lines of them are missing or cut: what follows may differ");
    if (m_isBrokenOff)
        notes.emplace_back("the last poll breaks off");
    if (m_counts.beyond > 0)
        notes.push_back(pollsText(m_counts.beyond) +
                        " at the end left out: the house takes no larger description; --since "
                        "and --until take others");
    return notes;
}

} // namespace inspector
