#include "inspector/bus/service-pause.h"

#include "inspector/bus/bus.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace inspector {
namespace {

/// Runs systemctl and returns its exit status, -1 if it can't be run.
int systemctl(const char* verb, const std::string& service) {
    const char* const arguments[] = {"systemctl", "--quiet", verb, service.c_str(), nullptr};
    pid_t process = 0;
    if (posix_spawnp(&process, "systemctl", nullptr, nullptr, const_cast<char**>(arguments),
                     environ) != 0)
        return -1;
    int status = 0;
    while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

ServicePause::ServicePause(std::string service) : m_service(std::move(service)) {
    if (systemctl("is-active", m_service) != 0)
        return;
    startGuardian();
    if (systemctl("stop", m_service) == 0)
        return;
    end();
    throw BusError("The service " + m_service + " can't be stopped");
}

ServicePause::~ServicePause() {
    end();
}

void ServicePause::end() {
    if (m_guardian == -1)
        return;
    close(m_lifeline);
    while (waitpid(m_guardian, nullptr, 0) == -1 && errno == EINTR) {
    }
}

void ServicePause::startGuardian() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw BusError(std::string("No pipe: ") + std::strerror(errno));
    m_guardian = fork();
    if (m_guardian == -1)
        throw BusError(std::string("No process: ") + std::strerror(errno));
    if (m_guardian == 0) {
        // Neither Ctrl-C nor a terminal that closes reaches it.
        setsid();
        close(ends[1]);
        char nothing = 0;
        while (read(ends[0], &nothing, 1) == -1 && errno == EINTR) {
        }
        _exit(systemctl("start", m_service) == 0 ? 0 : 1);
    }
    close(ends[0]);
    m_lifeline = ends[1];
}

} // namespace inspector
