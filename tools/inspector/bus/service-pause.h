#pragma once

#include <string>

namespace inspector {

/// While it lives the service is stopped. It is started again whatever becomes of this process,
/// also if it is killed, by a process of its own that waits for its end; but not if it wasn't
/// running, or somebody was about to stop it. That it can't be started is told on standard error.
class ServicePause {
public:
    /// Throws `BusError` if the service can't be stopped, or nobody can say whether it runs.
    explicit ServicePause(std::string service);
    ~ServicePause();
    ServicePause(const ServicePause&) = delete;
    ServicePause& operator=(const ServicePause&) = delete;

    /// Whether a service that one of them stopped could not be started again.
    static bool hasLeftOneStopped();

private:
    void startGuardian();
    /// The service starts again.
    void end() const;

    std::string m_service;
    /// As long as it is open the guardian waits.
    int m_lifeline = -1;
    int m_guardian = -1;
};

} // namespace inspector
