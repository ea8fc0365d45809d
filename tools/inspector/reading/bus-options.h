#pragma once

#include "inspector/bus/bus.h"
#include "inspector/bus/service-pause.h"

#include <chrono>
#include <memory>
#include <optional>

namespace inspector {

/// How a command gets at the bus.
struct BusOptions {
    BusAddress address = {};
    /// As long as the daemon waits without it.
    std::optional<std::chrono::milliseconds> timeOut = std::nullopt;
    /// Reads beside another process that has the port open.
    bool share = false;
    /// Stops the daemon for the time.
    bool stopService = false;
};

/// The bus of a command, with the daemon out of the way if that was wanted.
class BusSession {
public:
    /// Throws `BusError`, also if another process has the port open.
    explicit BusSession(const BusOptions& options);

    Bus& bus() { return *m_bus; }

private:
    // The service starts again when the port is free.
    std::unique_ptr<ServicePause> m_pause = nullptr;
    std::unique_ptr<Bus> m_bus = nullptr;
};

} // namespace inspector
