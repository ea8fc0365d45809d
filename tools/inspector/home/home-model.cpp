#include "inspector/home/home-model.h"

#include "inspector/home/diagnostics.h"
#include "inspector/log/text-fields.h"

#include <algorithm>
#include <cstdlib>

namespace inspector {
namespace {

constexpr std::size_t mostProcesses = 8;
constexpr std::size_t mostGaps = 100;
constexpr Moment longestSilence = ProcessModel::longestSilence;

} // namespace

HomeModel::HomeModel() = default;
HomeModel::~HomeModel() = default;

void HomeModel::add(const Line& line) {
    ++m_meters.home().lines;
    noteDamage(line);
    if (line.kind != LineKind::log) {
        addOther(line);
        return;
    }
    ProcessModel& process = processOf(line);
    noteTime(process, line);
    // What is left of a cut line may lack the half that matters.
    if (line.isCut)
        return;
    if (const auto silence = m_silences.take(line))
        noteLeap(*silence);
    process.add(line);
}

void HomeModel::noteDamage(const Line& line) {
    Home& home = m_meters.home();
    const Moment time = line.kind == LineKind::log ? line.time : home.last.value_or(0);
    if (line.isCut)
        home.cut.add(time);
    if (line.forged > 0)
        home.forged.add(time, line.forged);
}

/// These have no time of their own.
void HomeModel::addOther(const Line& line) {
    Home& home = m_meters.home();
    const Moment time = home.last.value_or(0);
    if (line.kind == LineKind::rule)
        ++home.offers;
    if (line.kind == LineKind::assertion)
        home.assertions.add(time);
    if (line.kind == LineKind::termination)
        home.terminations.add(time);
    if (line.kind == LineKind::foreign &&
        fitsPattern(line.text, findDiagnostic("bad-log-settings")->line))
        m_meters.noteTrouble({"bad-log-settings", {}}, line);
}

/// Whether the line is of another process than those of its thread so far: after a reboot the same
/// numbers are given out again.
bool HomeModel::isOfAnother(const ProcessModel& process, const Line& line) const {
    if (ProcessModel::isStart(line))
        return process.hasBegun();
    return &process != &m_processes.front() &&
           std::abs(line.time - process.lastTime()) > longestSilence;
}

ProcessModel& HomeModel::processOf(const Line& line) {
    const auto found =
        std::find_if(m_processes.begin(), m_processes.end(),
                     [&](const ProcessModel& x) { return x.thread() == line.thread; });
    if (found == m_processes.end())
        return addProcess(line);
    if (isOfAnother(*found, line)) {
        found->finish();
        m_processes.erase(found);
        return addProcess(line);
    }
    if (found != m_processes.begin()) {
        ++m_meters.home().mixed;
        m_processes.splice(m_processes.begin(), m_processes, found);
    }
    return m_processes.front();
}

ProcessModel& HomeModel::addProcess(const Line& line) {
    Home& home = m_meters.home();
    if (home.processes++ > 0)
        home.restarts.add(line.time);
    // The last poll of the one before is older than what comes now.
    if (!m_processes.empty())
        m_processes.front().finish();
    m_processes.emplace_front(m_meters, line.thread, home.processes);
    if (m_processes.size() > mostProcesses) {
        m_processes.back().finish();
        m_processes.pop_back();
    }
    return m_processes.front();
}

void HomeModel::noteTime(const ProcessModel& process, const Line& line) {
    Home& home = m_meters.home();
    if (!home.first)
        home.first = line.time;
    // The first line of a process stands behind those of others.
    if ((process.lastTime() > 0 ? process.lastTime() : home.last.value_or(0)) > line.time)
        home.timeJumps.add(line.time);
    // Where each poll writes lines, nothing for long is a gap.
    if (home.polls && !home.gaps)
        home.gaps = 0;
    if (home.polls && home.last && line.time - *home.last > longestSilence)
        noteGap(process, line);
    home.last = line.time;
    home.offset = line.offset;
}

void HomeModel::noteGap(const ProcessModel& process, const Line& line) {
    Home& home = m_meters.home();
    const Gap gap{*home.last, line.time};
    ++*home.gaps;
    if (home.firstGaps.size() < mostGaps)
        home.firstGaps.push_back(gap);
    if (process.lastTime() == gap.from)
        m_silences.begin(gap, line.thread);
    else
        m_silences.forget();
}

/// What was taken for a gap is none.
void HomeModel::noteLeap(const Gap& silence) {
    Home& home = m_meters.home();
    --*home.gaps;
    if (!home.firstGaps.empty() && home.firstGaps.back().to == silence.to)
        home.firstGaps.pop_back();
    home.leaps.add(silence.to);
}

void HomeModel::finish() {
    std::for_each(m_processes.rbegin(), m_processes.rend(),
                  [](ProcessModel& process) { process.finish(); });
    Home& home = m_meters.home();
    if (!home.polls || home.offers > 0)
        return;
    home.delivered = home.delivered.value_or(0);
    home.lost = home.lost.value_or(0);
}

} // namespace inspector
