#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "house/modbus-exchange.h"
#include "house/wakeup.h"

namespace house {

/// A line on which a bus is served. Requests are taken by libmodbus's server side; answers are
/// framed here, as it can send none that is wrong.
class BusLine {
public:
    /// Gives what a query is answered with, when it is time to answer; nothing keeps silent.
    using Responder = std::function<std::optional<Reply>(const Query&)>;

    BusLine() = default;
    virtual ~BusLine() = default;
    BusLine(const BusLine&) = delete;
    BusLine& operator=(const BusLine&) = delete;

    /// Serves until @p stop is raised.
    virtual void serve(const Wakeup& stop, const Responder& respond) = 0;

    /// What only a line with connections has.
    virtual std::uint16_t port() const { return 0; }
    virtual bool waitForConnections(std::size_t count) const { return count == 0; }
    virtual void dropConnections() {}
};

} // namespace house
