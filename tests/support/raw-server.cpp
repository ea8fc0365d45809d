#include "support/raw-server.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <poll.h>
#include <sys/socket.h>

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::uint16_t port = 8088;

/// What stands between the first two blanks.
std::string pathOf(std::string_view head) {
    const auto begin = head.find(' ') + 1;
    return std::string(head.substr(begin, head.find(' ', begin) - begin));
}

} // namespace

bool RawServer::Connection::send(std::string_view bytes) {
    error_code ec;
    asio::write(m_socket, asio::buffer(bytes), ec);
    return !ec;
}

bool RawServer::Connection::waitForEnd(std::chrono::milliseconds limit) {
    pollfd wait{m_socket.native_handle(), POLLRDHUP, 0};
    return ::poll(&wait, 1, static_cast<int>(limit.count())) > 0;
}

bool RawServer::Connection::readRequest() {
    error_code ec;
    const std::size_t size =
        asio::read_until(m_socket, asio::dynamic_buffer(m_read), "\r\n\r\n", ec);
    m_path = pathOf(std::string_view(m_read).substr(0, size));
    m_read.erase(0, size);
    return !ec;
}

void RawServer::Connection::endByReset() {
    m_socket.set_option(tcp::socket::linger(true, 0));
}

RawServer::RawServer()
    : m_acceptor(m_io, {asio::ip::address_v4::loopback(), port}), m_thread([this] { run(); }) {}

RawServer::~RawServer() {
    std::unique_lock lock(m_mutex);
    m_ending = true;
    ::shutdown(m_acceptor.native_handle(), SHUT_RDWR);
    ::shutdown(m_served, SHUT_RDWR);
    lock.unlock();
    m_thread.join();
}

std::string RawServer::reply(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

void RawServer::serve(const std::string& path, const std::string& body) {
    const std::scoped_lock lock(m_mutex);
    m_bodies[path] = body;
}

void RawServer::answer(const std::string& path, std::size_t number, Answer answer) {
    const std::scoped_lock lock(m_mutex);
    m_answers[path][number] = std::move(answer);
}

void RawServer::whenRequested(std::function<void(const std::string& path, bool isOwn)> callback) {
    m_whenRequested.replace(std::move(callback));
}

void RawServer::run() {
    for (;;) {
        tcp::socket socket(m_io);
        error_code ec;
        m_acceptor.accept(socket, ec);
        std::unique_lock lock(m_mutex);
        if (m_ending)
            return;
        m_served = socket.native_handle();
        lock.unlock();
        Connection connection(socket);
        if (connection.readRequest())
            serve(connection);
        // Before the number may belong to another.
        lock.lock();
        m_served = -1;
        // Not by its destructor, which would turn a reset into the usual end.
        socket.close(ec);
    }
}

void RawServer::serve(Connection& connection) {
    const auto [answer, isOwn] = take(connection.m_path);
    m_whenRequested(connection.m_path, isOwn);
    answer(connection);
}

std::pair<RawServer::Answer, bool> RawServer::take(const std::string& path) {
    const std::scoped_lock lock(m_mutex);
    const std::size_t number = ++m_counts[path];
    if (const auto own = m_answers[path].find(number); own != m_answers[path].end())
        return {own->second, true};
    return {[body = m_bodies[path]](Connection& connection) { connection.send(reply(body)); },
            false};
}
