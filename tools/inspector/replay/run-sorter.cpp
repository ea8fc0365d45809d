#include "inspector/replay/run-sorter.h"

#include <algorithm>
#include <utility>

namespace inspector {
namespace {

bool beginsRun(const Line& line) {
    return line.channel == "modbusreaderMain" && line.text == "Starting modbus Reader";
}

} // namespace

void RunSorter::take(const Line& line) {
    ++m_lines;
    if (line.kind == LineKind::rule) {
        // It doesn't say whose it is.
        if (m_open.size() == 1)
            m_open.begin()->second.recorder->takeRule();
        return;
    }
    if (line.kind != LineKind::log)
        return;
    m_hasDebugLines = m_hasDebugLines ||
                      (line.channel == "modbusSerial" && line.severity == vx::LogSeverity::debug);
    RunRecorder* const run = runOf(line);
    if (run == nullptr)
        return;
    if (run->number == 0 && PollListener::beginsPoll(line))
        run->number = ++m_runs;
    run->take(line);
}

/// Null for a line ahead of the first poll that can be recorded.
RunRecorder* RunSorter::runOf(const Line& line) {
    if (beginsRun(line)) {
        close(line.thread);
        return &open(line.thread, true);
    }
    const auto found = m_open.find(line.thread);
    if (found == m_open.end())
        return PollListener::beginsPoll(line) ? &open(line.thread, false) : nullptr;
    found->second.touched = m_lines;
    return found->second.recorder.get();
}

RunRecorder& RunSorter::open(std::uint32_t thread, bool showsStart) {
    constexpr std::size_t most = 8;
    if (m_open.size() == most)
        closeOldest();
    OpenRun& run = m_open[thread];
    run = {std::make_unique<RunRecorder>(thread, showsStart, m_span), m_lines};
    return *run.recorder;
}

void RunSorter::close(std::uint32_t thread) {
    const auto found = m_open.find(thread);
    if (found == m_open.end())
        return;
    std::unique_ptr<RunRecorder> run = std::move(found->second.recorder);
    m_open.erase(found);
    run->end();
    consider(std::move(run));
}

void RunSorter::closeOldest() {
    const auto oldest =
        std::min_element(m_open.begin(), m_open.end(), [](const auto& a, const auto& b) {
            return a.second.touched < b.second.touched;
        });
    close(oldest->first);
}

void RunSorter::end() {
    while (!m_open.empty())
        closeOldest();
}

void RunSorter::consider(std::unique_ptr<RunRecorder> run) {
    const bool isWanted = run->number == m_wanted.value_or(run->number);
    if (run->counts().polls == 0) {
        if (isWanted) {
            m_leftOut.beyond += run->counts().beyond;
            m_leftOut.outside += run->counts().outside;
        }
        return;
    }
    constexpr std::size_t mostListed = 20;
    if (m_list.size() < mostListed)
        m_list.push_back("run " + std::to_string(run->number) + ": " + run->span());
    if (isWanted && (!m_kept || run->counts().polls >= m_kept->counts().polls))
        m_kept = std::move(run);
}

} // namespace inspector
