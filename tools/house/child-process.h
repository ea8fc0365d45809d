#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace house {

/// A program that runs as long as this object does, at most. It starts with default signal
/// dispositions and an empty signal mask, and dies with the thread that started it.
class ChildProcess {
public:
    /// Starts @p command (the program's path first); standard error is added to the end of @p
    /// logFile. @p environment holds "NAME=value" texts that are added to the own environment.
    /// Throws `std::system_error` when the log or the program cannot be opened.
    ChildProcess(const std::vector<std::string>& command, const std::string& logFile,
                 const std::vector<std::string>& environment = {});
    /// Ends the program by its process id, and waits for it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return m_pid; }
    bool running();
    void signal(int number);
    /// Waits for the end and gives the wait status as `waitpid` does. No value when the limit of
    /// `Patience` passed first.
    std::optional<int> waitForExit();

private:
    bool collect(int options);

    pid_t m_pid = -1;
    std::optional<int> m_status;
};

} // namespace house
