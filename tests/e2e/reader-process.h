#pragma once

#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <cstddef>
#include <functional>
#include <ios>
#include <memory>
#include <string>
#include <vector>

/// The real executable, running, with its log in a file. It ends with the object.
///
/// With the variable READER_LOGS in the environment it logs what a replay needs, whatever the test
/// says, and leaves its log in that folder as "1.log", its configuration file as "1.config", and so
/// on.
class ReaderProcess {
public:
    /// @p environment holds "NAME=value" texts; @p launcher is a command that starts the
    /// executable, which stands behind it.
    explicit ReaderProcess(const std::vector<std::string>& environment = {},
                           const std::vector<std::string>& arguments = {},
                           const std::vector<std::string>& launcher = {});
    ~ReaderProcess();
    ReaderProcess(const ReaderProcess&) = delete;
    ReaderProcess& operator=(const ReaderProcess&) = delete;

    /// Waits until @p condition holds, and looks after each change of the log. Fails the test when
    /// the limit passes.
    void waitForLog(const std::function<bool()>& condition) const;

    /// The whole lines so far, as they are.
    std::vector<std::string> rawLog() const;
    /// The whole lines since the last call, as "severity channel message". What has no severity is
    /// left as it is.
    std::vector<std::string> takeNewLines();

    /// From now on; it keeps those that it has.
    void allowDescriptors(std::size_t count) const;
    void signal(int number) { m_process->signal(number); }
    pid_t pid() const { return m_process->pid(); }
    bool running() { return m_process->running(); }
    /// Wait status as of `waitpid`; fails the test when the limit passes.
    int waitForExit();
    /// Kills the process, if it still runs. Its log is complete then.
    void end();

private:
    TemporaryDirectory m_directory;
    std::string m_logFile;
    /// Where the log is left, without ".log"; empty if it isn't.
    std::string m_kept;
    std::streamoff m_taken = 0;
    std::unique_ptr<house::ChildProcess> m_process;
};
