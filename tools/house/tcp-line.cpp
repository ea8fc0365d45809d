#include "house/tcp-line.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

namespace house {

namespace {

constexpr std::size_t headerLength = 6;

using Frame = std::array<std::uint8_t, MODBUS_TCP_MAX_ADU_LENGTH>;

/// @p message behind its header: the transaction number of the request, protocol 0, length.
Bytes framed(const Frame& request, const Bytes& message) {
    Bytes frame{request[0], request[1], 0, 0, highByte(message.size()), lowByte(message.size())};
    // Not by `insert`, in which g++ sees a bound that isn't there.
    std::copy(message.begin(), message.end(), std::back_inserter(frame));
    return frame;
}

/// Both bytes of the protocol number, as libmodbus's master lets a single one pass.
void garbleHead(Bytes& frame) {
    frame[2] = 0xFF;
    frame[3] = 0xFF;
    frame.back() ^= 0xFF;
}

} // namespace

TcpLine::TcpLine(std::uint16_t port) : m_context(modbus_new_tcp("127.0.0.1", port)) {
    constexpr int backlog = 16;
    const std::string where = "127.0.0.1:" + std::to_string(port);
    m_listener = Descriptor(require(modbus_tcp_listen(m_context.get(), backlog), where.c_str()));
}

std::uint16_t TcpLine::port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    require(::getsockname(m_listener.number(), reinterpret_cast<sockaddr*>(&address), &size),
            "getsockname");
    return ntohs(address.sin_port);
}

void TcpLine::serve(const Wakeup& stop, const Responder& respond) {
    for (;;) {
        std::vector<pollfd> wait{{stop.descriptor(), POLLIN, 0}, {m_listener.number(), POLLIN, 0}};
        for (const int socket : sockets())
            wait.push_back({socket, POLLIN, 0});
        if (::poll(wait.data(), wait.size(), -1) < 0)
            continue;
        if (wait[0].revents != 0)
            return;
        for (std::size_t i = 2; i < wait.size(); ++i) {
            if (wait[i].revents != 0)
                answer(wait[i].fd, respond);
        }
        if (wait[1].revents != 0)
            accept();
    }
}

void TcpLine::answer(int socket, const Responder& respond) {
    Frame request{};
    modbus_set_socket(m_context.get(), socket);
    if (modbus_receive(m_context.get(), request.data()) < 0)
        return close(socket);
    const Query query = Query::in(request.data() + headerLength);
    const std::optional<Reply> reply = respond(query);
    if (!reply)
        return;
    if (reply->has(Fault::Kind::hangUp))
        return close(socket);
    Bytes frame = framed(request, reply->message(query));
    if (reply->has(Fault::Kind::garbled))
        garbleHead(frame);
    m_send(query, frame, [socket](const Bytes& bytes) {
        ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    });
}

void TcpLine::accept() {
    int listener = m_listener.number();
    const int socket = modbus_tcp_accept(m_context.get(), &listener);
    if (socket < 0)
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_connections.emplace_back(socket);
    }
    m_accepted.increase();
}

void TcpLine::close(int socket) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_connections,
                  [&](const Descriptor& connection) { return connection.number() == socket; });
}

std::vector<int> TcpLine::sockets() const {
    const std::lock_guard lock(m_mutex);
    std::vector<int> result;
    for (const Descriptor& connection : m_connections)
        result.push_back(connection.number());
    return result;
}

bool TcpLine::waitForConnections(std::size_t count) const {
    return m_accepted.waitFor(count);
}

void TcpLine::dropConnections() {
    const std::lock_guard lock(m_mutex);
    for (const Descriptor& connection : m_connections)
        ::shutdown(connection.number(), SHUT_RDWR);
}

} // namespace house
