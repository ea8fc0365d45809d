#pragma once

#include <mutex>
#include <vector>

#include "house/awaited-count.h"
#include "house/bus-line.h"
#include "house/descriptor.h"
#include "house/modbus-context.h"

namespace house {

/// Modbus TCP on 127.0.0.1, with any number of connections at the same time.
class TcpLine : public BusLine {
public:
    /// Listens at once. Port 0 takes any free port. Throws `std::system_error` when the port is
    /// taken.
    explicit TcpLine(std::uint16_t port);

    void serve(const Wakeup& stop, const Responder& respond) override;

    std::uint16_t port() const override;
    bool waitForConnections(std::size_t count) const override;
    void dropConnections() override;

private:
    void accept();
    void close(int socket);
    std::vector<int> sockets() const;
    void answer(int socket, const Responder& respond);

    ModbusContext m_context;
    Descriptor m_listener;
    AwaitedCount m_accepted;
    mutable std::mutex m_mutex;
    std::vector<Descriptor> m_connections;
};

} // namespace house
