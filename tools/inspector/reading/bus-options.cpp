#include "inspector/reading/bus-options.h"

#include "inspector/bus/port-owner.h"

namespace inspector {

BusSession::BusSession(const BusOptions& options) {
    if (options.stopService)
        m_pause = std::make_unique<ServicePause>("modbus-reader.service");
    if (options.address.rtu && !options.share)
        if (const auto owner = ownerOf(*options.address.rtu))
            throw BusError(*options.address.rtu + " is open in " + *owner +
                           ", and two masters on one line disturb each other: end it, or take "
                           "--stop-service for the daemon, or --share to read all the same");
    m_bus = std::make_unique<Bus>(options.address, options.timeOut);
}

} // namespace inspector
