#include "house/child-process.h"

#include "house/descriptor.h"
#include "house/patience.h"

#include <array>
#include <csignal>

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace house {

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> ownEnvironmentAnd(const std::vector<std::string>& more) {
    std::vector<std::string> all = more;
    for (char** entry = environ; *entry != nullptr; ++entry)
        all.emplace_back(*entry);
    return all;
}

/// What the new process does until the program takes over. Only calls that are safe between fork
/// and exec; gives back only when the program cannot be started.
void becomeProgram(char* const* command, char* const* environment, int log, pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(1);
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGCHLD})
        ::sigaction(number, &standard, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::dup2(log, STDERR_FILENO);
    // The house's own listeners must not live on in the program.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    ::execve(command[0], command, environment);
}

/// The descriptor that becomes readable when the process ends.
Descriptor exitOf(pid_t pid) {
    return Descriptor(require(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)), "pidfd_open"));
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::string& logFile,
                           const std::vector<std::string>& environment) {
    const Descriptor log(require(
        ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644), logFile.c_str()));
    std::array<int, 2> pipe{};
    require(::pipe2(pipe.data(), O_CLOEXEC), "pipe");
    const Descriptor failure(pipe[0]);
    Descriptor failureOfChild(pipe[1]);
    std::vector<std::string> words = command;
    std::vector<std::string> variables = ownEnvironmentAnd(environment);
    const std::vector<char*> arguments = pointersTo(words);
    const std::vector<char*> surroundings = pointersTo(variables);

    const pid_t parent = ::getpid();
    m_pid = require(::fork(), "fork");
    if (m_pid == 0) {
        becomeProgram(arguments.data(), surroundings.data(), log.number(), parent);
        const int error = errno;
        [[maybe_unused]] const ssize_t size = ::write(pipe[1], &error, sizeof error);
        ::_exit(127);
    }
    // The pipe closes by itself when the program starts, and carries the error when it does not.
    failureOfChild = Descriptor();
    int error = 0;
    if (::read(failure.number(), &error, sizeof error) > 0) {
        collect(0);
        throw std::system_error(error, std::generic_category(), command.front());
    }
}

ChildProcess::~ChildProcess() {
    if (!running())
        return;
    ::kill(m_pid, SIGKILL);
    collect(0);
}

bool ChildProcess::running() {
    return !collect(WNOHANG);
}

void ChildProcess::signal(int number) {
    if (running())
        ::kill(m_pid, number);
}

std::optional<int> ChildProcess::waitForExit() {
    if (!running())
        return m_status;
    const Descriptor exit = exitOf(m_pid);
    pollfd wait{exit.number(), POLLIN, 0};
    if (::poll(&wait, 1, static_cast<int>(Patience::limit().count())) == 1)
        collect(0);
    return m_status;
}

bool ChildProcess::collect(int options) {
    int status = 0;
    if (!m_status && ::waitpid(m_pid, &status, options) == m_pid)
        m_status = status;
    return m_status.has_value();
}

} // namespace house
