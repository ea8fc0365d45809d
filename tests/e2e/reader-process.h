#pragma once

#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The real executable, running, with its log in a file. It ends with the object.
class ReaderProcess {
public:
    /// @p environment holds "NAME=value" texts; @p launcher is a command that starts the
    /// executable, which stands behind it.
    explicit ReaderProcess(const std::vector<std::string>& environment = {},
                           const std::vector<std::string>& arguments = {},
                           const std::vector<std::string>& launcher = {});

    /// Waits until the log holds @p text @p count times. Fails the test when the limit passes.
    void waitForLog(std::string_view text, std::size_t count = 1) const;

    /// The whole lines so far, as they are.
    std::vector<std::string> rawLog() const;

    /// The whole lines so far without what differs from run to run: time and thread are left out,
    /// and numbers of positions, expiries and milliseconds read `<line>`, `<seconds>`, `<ms>`.
    std::vector<std::string> log() const;

    void signal(int number) { m_process->signal(number); }
    pid_t pid() const { return m_process->pid(); }
    bool running() { return m_process->running(); }
    /// Wait status as of `waitpid`; fails the test when the limit passes.
    int waitForExit();

private:
    TemporaryDirectory m_directory;
    std::string m_logFile;
    std::unique_ptr<house::ChildProcess> m_process;
};

/// The lines from the first that contains @p first up to the last ahead of one that contains
/// @p end.
std::vector<std::string> linesBetween(const std::vector<std::string>& lines, std::string_view first,
                                      std::string_view end);

/// The lines that contain @p text.
std::vector<std::string> linesWith(const std::vector<std::string>& lines, std::string_view text);

/// Text in which the moment of a message reads `<time>`.
std::string withoutTime(const std::string& message);
