#include "inspector/reading/bus-options.h"

#include "inspector/bus/port-owner.h"

namespace inspector {
namespace {

void requireNoOwner(const std::string& device) {
    if (const auto owner = ownerOf(device))
        throw BusError(device + " is open in " + *owner +
                       ", and two masters on one line disturb each other: end it, or take "
                       "--stop-service for the daemon, or --share to read all the same");
}

} // namespace

BusSession::BusSession(const BusOptions& options) {
    if (options.address.rtu)
        requireTerminal(*options.address.rtu);
    if (options.stopService)
        m_pause = std::make_unique<ServicePause>("modbus-reader.service");
    if (options.address.rtu && !options.share)
        requireNoOwner(*options.address.rtu);
    constexpr std::chrono::seconds timeOutOfDaemon(5);
    m_bus = std::make_unique<Bus>(options.address, options.timeOut.value_or(timeOutOfDaemon));
}

} // namespace inspector
