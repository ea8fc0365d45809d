#pragma once

#include "inspector/live/live-home.h"
#include "inspector/live/live-log.h"
#include "inspector/web/connection-slots.h"
#include "inspector/web/event-streams.h"
#include "inspector/web/site.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace inspector {

/// Serves a live home by HTTP until a signal ends it.
class Server {
public:
    /// Throws `std::runtime_error` if it can't listen there.
    Server(const boost::asio::ip::tcp::endpoint& endpoint, const LiveHome& home, const LiveLog& log,
           Site& site);

    boost::asio::ip::tcp::endpoint endpoint() const { return m_acceptor.local_endpoint(); }
    /// Throws `UnreadableInput` if the log can't be followed any more.
    void run();

private:
    void accept();
    void tick();
    void sendNews();
    std::vector<int> healths() const;

    boost::asio::io_context m_context{1};
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::signal_set m_signals;
    boost::asio::steady_timer m_timer;
    boost::asio::steady_timer m_pause;
    const LiveHome& m_home;
    const LiveLog& m_log;
    Site& m_site;
    ConnectionSlots m_connections;
    ConnectionSlots m_streamSlots;
    EventStreams m_streams;
    std::uint64_t m_version = 0;
    std::vector<int> m_healths;
    int m_quietTicks = 0;
};

} // namespace inspector
