#include "inspector/live/live-home.h"

#include "inspector/home/diagnostics.h"
#include "vx/date-time.h"

namespace inspector {
namespace {

void addFailures(const Failures& failures, std::map<std::string, std::size_t>& byKind) {
    for (const auto& [kind, failure] : failures) {
        const bool isKnown = findDiagnostic("register-unread", kind.kind) != nullptr;
        byKind[isKnown ? kind.kind : "other"] += failure.seen.count;
    }
}

MeterCounts countsOf(const Meter& meter) {
    MeterCounts counts;
    counts.polls = meter.polls.value_or(0);
    counts.goodPolls = meter.goodPolls.value_or(0);
    addFailures(meter.failures, counts.failures);
    return counts;
}

} // namespace

void LiveHome::add(const Line& line) {
    const std::lock_guard lock(m_mutex);
    const bool wasEmpty = !m_model.home().first;
    m_model.add(line);
    if (wasEmpty || line.kind != LineKind::log || line.isCut || line.forged > 0 ||
        line.severity <= vx::LogSeverity::warning)
        ++m_version;
    if (!m_courses.follow(m_model.home()))
        return;
    m_lastPoll = line.time;
    ++m_version;
}

void LiveHome::takeReadings() {
    m_courses.take(m_model.home());
    ++m_version;
}

void LiveHome::endPast() {
    const std::lock_guard lock(m_mutex);
    takeReadings();
    m_past = counts();
    m_isPast = false;
}

void LiveHome::finish() {
    const std::lock_guard lock(m_mutex);
    m_model.finish();
    takeReadings();
    m_isOver = true;
}

std::uint64_t LiveHome::version() const {
    const std::lock_guard lock(m_mutex);
    return m_version;
}

Counts LiveHome::counts() const {
    const Home& home = m_model.home();
    const std::vector<MeterCourse>& courses = m_courses.meters();
    Counts counts;
    counts.polls = home.polls.value_or(0);
    counts.lengths = home.pollLengths.count();
    counts.lengthOfAll = home.pollLengths.sum();
    counts.restarts = home.restarts.count;
    counts.assertions = crashesOf(home);
    counts.delivered = home.delivered.value_or(0);
    counts.lost = home.lost.value_or(0);
    for (const auto& [kind, trouble] : home.troubles)
        counts.troubles[kind] = trouble.seen.count;
    counts.troubles[{"lines-cut", {}}] = home.cut.count;
    counts.troubles[{"lines-forged", {}}] = home.forged.count;
    for (std::size_t i = 0; i < home.meters.size(); ++i) {
        counts.meters.push_back(countsOf(home.meters[i]));
        if (i < courses.size()) {
            counts.meters[i].decreases = courses[i].decreases();
            counts.meters[i].jumps = courses[i].jumps();
        }
    }
    addFailures(home.unattributed, counts.unattributed);
    return counts;
}

Moment present() {
    using std::chrono::milliseconds;
    return std::chrono::duration_cast<milliseconds>(vx::now().time_since_epoch()).count();
}

} // namespace inspector
