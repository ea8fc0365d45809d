#include "inspector/web/server.h"

#include "inspector/input/sources.h"
#include "inspector/live/health.h"
#include "inspector/web/connection.h"

#include <boost/asio/buffer.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <sstream>
#include <stdexcept>

namespace inspector {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr std::size_t mostStreams = 1024;
/// Room for those who ask once is left.
constexpr std::size_t roomForOthers = 128;
constexpr std::size_t mostConnections = mostStreams + roomForOthers;
constexpr std::chrono::milliseconds tickLength{250};

/// Makes the system keep no more than some ten thousand bytes for each connection, of what isn't
/// taken yet by either end. Else these would be megabytes.
void limitConnections(tcp::acceptor& acceptor) {
    using boost::asio::socket_base;
    // A connection inherits them. The system takes twice as much, for what it needs itself.
    acceptor.set_option(socket_base::send_buffer_size(32768));
    acceptor.set_option(socket_base::receive_buffer_size(16384));
    // With less than a segment sent ahead each one would wait for its acknowledgement.
    acceptor.set_option(tcp::no_delay(true));
}

tcp::acceptor openAcceptor(boost::asio::io_context& context, const tcp::endpoint& endpoint) {
    try {
        tcp::acceptor acceptor(context, endpoint);
        limitConnections(acceptor);
        return acceptor;
    } catch (const boost::system::system_error& e) {
        std::ostringstream text;
        text << endpoint << ": " << e.code().message();
        throw std::runtime_error(text.str());
    }
}

/// Each connection takes a descriptor; how many there may be besides those the program has itself.
std::size_t roomForConnections() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    constexpr std::size_t own = 32;
    // The limit may be more than an address.
    const rlim_t descriptors = std::clamp<rlim_t>(limit.rlim_cur, own + 1, own + mostConnections);
    return static_cast<std::size_t>(descriptors) - own;
}

std::size_t roomForStreams(std::size_t connections) {
    return connections - std::min(roomForOthers, connections / 2);
}

} // namespace

Server::Server(const tcp::endpoint& endpoint, const LiveHome& home, const LiveLog& log, Site& site)
    : m_acceptor(openAcceptor(m_context, endpoint)),
      m_signals(m_context, SIGINT, SIGTERM),
      m_timer(m_context),
      m_pause(m_context),
      m_home(home),
      m_log(log),
      m_site(site),
      m_connections(roomForConnections()),
      m_streamSlots(roomForStreams(m_connections.free())) {}

void Server::run() {
    m_signals.async_wait([this](error_code, int) { m_context.stop(); });
    accept();
    tick();
    m_context.run();
}

void Server::accept() {
    m_acceptor.async_accept([this](error_code error, tcp::socket socket) {
        if (error) {
            // Such as too many descriptors.
            m_pause.expires_after(tickLength);
            m_pause.async_wait([this](error_code) { accept(); });
            return;
        }
        if (ConnectionSlots::Slot slot = m_connections.take()) {
            serveConnection(std::move(socket), std::move(slot), m_site, m_streams, m_streamSlots);
        } else {
            static constexpr std::string_view tooMany =
                "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nContent-Length: "
                "0\r\n\r\n";
            error_code ignored;
            socket.non_blocking(true, ignored);
            socket.write_some(boost::asio::buffer(tooMany), ignored);
        }
        accept();
    });
}

void Server::tick() {
    if (const std::string failure = m_log.failure(); !failure.empty())
        throw UnreadableInput(failure);
    sendNews();
    m_streams.dropSlow();
    m_timer.expires_after(tickLength);
    m_timer.async_wait([this](error_code) { tick(); });
}

void Server::sendNews() {
    constexpr int ticksOfLongestQuiet = 60;
    const std::uint64_t version = m_home.version();
    std::vector<int> present = healths();
    if (version != m_version || present != m_healths) {
        m_version = version;
        m_healths = std::move(present);
        m_quietTicks = 0;
        if (m_streams.size() > 0)
            m_streams.send(m_site.news());
    } else if (++m_quietTicks == ticksOfLongestQuiet) {
        // So that both ends find out when the other one is gone.
        m_quietTicks = 0;
        m_streams.send(std::make_shared<const std::string>(":\n\n"));
    }
}

std::vector<int> Server::healths() const {
    return m_home.look(inspector::present(), [](const HomeView& view) {
        std::vector<int> healths{static_cast<int>(healthOfReader(view))};
        for (const std::size_t meter : presentMeters(view.home))
            healths.push_back(static_cast<int>(healthOf(view, meter)));
        return healths;
    });
}

} // namespace inspector
