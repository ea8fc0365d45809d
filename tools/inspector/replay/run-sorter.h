#pragma once

#include "inspector/replay/run-recorder.h"

#include <cstddef>
#include <map>
#include <memory>
#include <optional>

namespace inspector {

/// Sorts the lines of a log by the runs of the daemon that wrote them, one after another or several
/// at the same time, and keeps the recording of one.
class RunSorter {
public:
    /// Keeps the run with that number, counted from 1; without one that with the most polls, of
    /// equal ones the last.
    explicit RunSorter(std::optional<std::size_t> wanted) : m_wanted(wanted) {}

    void take(const Line& line);
    void end();

    /// The run that is kept; null if there is none with a poll.
    const RunRecorder* kept() const { return m_kept.get(); }
    std::size_t runs() const { return m_runs; }
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
    std::map<std::uint32_t, OpenRun> m_open;
    std::unique_ptr<RunRecorder> m_kept;
    std::size_t m_runs = 0;
    std::size_t m_lines = 0;
    bool m_hasDebugLines = false;
};

} // namespace inspector
