#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "house/callback.h"
#include "house/modbus-exchange.h"
#include "house/wakeup.h"

namespace house {

/// A line on which a bus is served. Requests are taken by libmodbus's server side; answers are
/// framed here, as it can send none that is wrong.
class BusLine {
public:
    /// Gives what a query is answered with, when it is time to answer; nothing keeps silent.
    using Responder = std::function<std::optional<Reply>(const Query&)>;
    /// Puts bytes on the line as they are.
    using Send = std::function<void(const Bytes&)>;
    /// Sends the answer to a query, which is given as it should go over the line.
    using Sender = std::function<void(const Query&, const Bytes& frame, const Send&)>;

    BusLine() { sendBy(asItIs); }
    virtual ~BusLine() = default;
    BusLine(const BusLine&) = delete;
    BusLine& operator=(const BusLine&) = delete;

    /// Serves until @p stop is raised.
    virtual void serve(const Wakeup& stop, const Responder& respond) = 0;

    /// Sends all answers by @p sender from now on.
    void sendBy(Sender sender) { m_send.replace(std::move(sender)); }

    /// What only a line with connections has.
    virtual std::uint16_t port() const { return 0; }
    virtual bool waitForConnections(std::size_t count) const { return count == 0; }
    virtual void dropConnections() {}

protected:
    Callback<const Query&, const Bytes&, const Send&> m_send;

private:
    static void asItIs(const Query& /*query*/, const Bytes& frame, const Send& send) {
        send(frame);
    }
};

} // namespace house
