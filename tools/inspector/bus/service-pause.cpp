#include "inspector/bus/service-pause.h"

#include "inspector/bus/bus.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace inspector {
namespace {

bool leftOneStopped = false;

/// The exit status of a process, -1 if a signal ended it or nobody knows.
int statusOf(pid_t process) {
    int status = 0;
    pid_t ended = -1;
    do
        ended = waitpid(process, &status, 0);
    while (ended == -1 && errno == EINTR);
    return ended == process && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Runs systemctl and returns its exit status, -1 if it can't be run.
int systemctl(const char* verb, const std::string& service) {
    const char* const arguments[] = {"systemctl", "--quiet", verb, service.c_str(), nullptr};
    pid_t process = 0;
    if (posix_spawnp(&process, "systemctl", nullptr, nullptr, const_cast<char**>(arguments),
                     environ) != 0)
        return -1;
    return statusOf(process);
}

/// The first words that systemctl prints.
std::istringstream answerOf(const std::string& question) {
    const std::string command = "systemctl " + question;
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "re"), pclose);
    std::array<char, 256> words{};
    const std::size_t size = output ? std::fread(words.data(), 1, words.size(), output.get()) : 0;
    return std::istringstream(std::string(words.data(), size));
}

/// Such as "active".
std::string stateOf(const std::string& service) {
    std::string state;
    answerOf("show --property=ActiveState --value " + service) >> state;
    if (state.empty())
        throw BusError("systemctl does not say whether the service " + service + " runs");
    return state;
}

/// What systemd is doing with it, such as "restart"; empty if nothing.
std::string jobOf(const std::string& service) {
    std::string number;
    std::string unit;
    std::string job;
    answerOf("list-jobs --no-legend " + service) >> number >> unit >> job;
    return job;
}

/// A service that there isn't is inactive too.
bool isDown(const std::string& state) {
    return state == "inactive" || state == "failed";
}

/// Keeps away, for a scope, the signals that a person sends.
class SignalsKeptAway {
public:
    SignalsKeptAway() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
            sigaddset(&signals, signal);
        pthread_sigmask(SIG_BLOCK, &signals, &m_before);
    }
    ~SignalsKeptAway() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsKeptAway(const SignalsKeptAway&) = delete;
    SignalsKeptAway& operator=(const SignalsKeptAway&) = delete;

private:
    sigset_t m_before{};
};

/// Waits for the other end of @p lifeline to close, and starts the service.
[[noreturn]] void guard(int lifeline, const std::string& service) {
    setsid();
    char nothing = 0;
    while (read(lifeline, &nothing, 1) == -1 && errno == EINTR) {
    }
    if (systemctl("start", service) == 0)
        _exit(0);
    std::fprintf(stderr,
                 "modbus-inspector: The service %s can't be started again: see systemctl status "
                 "%s\n",
                 service.c_str(), service.c_str());
    _exit(1);
}

} // namespace

ServicePause::ServicePause(std::string service) : m_service(std::move(service)) {
    const std::string state = stateOf(m_service);
    if (isDown(state))
        return;
    const bool isEnding = state == "deactivating";
    const std::string job = isEnding ? jobOf(m_service) : "";
    // Without a job somebody's stop is over by now, or the service ends by itself.
    if (isEnding && job.empty() && isDown(stateOf(m_service)))
        return;
    // One that systemd is about to start, as after a failure, would come in between.
    if (job != "stop")
        startGuardian();
    if (systemctl("stop", m_service) == 0)
        return;
    end();
    throw BusError("The service " + m_service + " can't be stopped");
}

ServicePause::~ServicePause() {
    end();
}

bool ServicePause::hasLeftOneStopped() {
    return leftOneStopped;
}

void ServicePause::end() const {
    if (m_guardian == -1)
        return;
    close(m_lifeline);
    leftOneStopped = statusOf(m_guardian) != 0 || leftOneStopped;
}

void ServicePause::startGuardian() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw BusError(std::string("No pipe: ") + std::strerror(errno));
    // Neither Ctrl-C nor a terminal that closes reaches the guardian, from its first step on.
    const SignalsKeptAway keptAway;
    m_guardian = fork();
    if (m_guardian == -1)
        throw BusError(std::string("No process: ") + std::strerror(errno));
    if (m_guardian == 0) {
        close(ends[1]);
        guard(ends[0], m_service);
    }
    close(ends[0]);
    m_lifeline = ends[1];
}

} // namespace inspector
