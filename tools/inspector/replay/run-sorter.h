#pragma once

#include "inspector/replay/run-recorder.h"

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// Sorts the lines of a log by the runs of the daemon that wrote them, one after another or several
/// at the same time, and keeps the recording of one.
class RunSorter {
public:
    /// Keeps the run with that number, counted from 1; without one that with the most polls of
    /// @p span, of equal ones the last.
    RunSorter(std::optional<std::size_t> wanted, const TimeSpan& span)
        : m_wanted(wanted), m_span(span) {}

    void take(const Line& line);
    void end();

    /// The run that is kept; null if there is none with a poll.
    const RunRecorder* kept() const { return m_kept.get(); }
    std::size_t runs() const { return m_runs; }
    /// The first runs with polls, in the order of their ends, as "run 1: 2 polls from … to …".
    const std::vector<std::string>& list() const { return m_list; }
    /// Polls without which nothing is kept.
    const RunRecorder::Counts& leftOut() const { return m_leftOut; }
    /// Whether the log has lines that only a daemon writes that is told to log what replay needs.
    bool hasDebugLines() const { return m_hasDebugLines; }

private:
    struct OpenRun {
        std::unique_ptr<RunRecorder> recorder;
        /// When its last line came, in lines of the log.
        std::size_t touched = 0;
    };

    RunRecorder* runOf(const Line& line);
    RunRecorder& open(std::uint32_t thread, bool showsStart);
    void close(std::uint32_t thread);
    void closeOldest();
    void consider(std::unique_ptr<RunRecorder> run);

    std::optional<std::size_t> m_wanted;
    TimeSpan m_span;
    std::map<std::uint32_t, OpenRun> m_open;
    std::unique_ptr<RunRecorder> m_kept;
    std::size_t m_runs = 0;
    std::size_t m_lines = 0;
    std::vector<std::string> m_list;
    RunRecorder::Counts m_leftOut;
    bool m_hasDebugLines = false;
};

} // namespace inspector
