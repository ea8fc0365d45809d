#pragma once

#include "house/local-server.h"

#include <utility>

#include <boost/asio.hpp>
#include <cstdint>
#include <string>

namespace house {

/// An HTTP exchange by hand: sends @p request and gives all that comes back.
inline std::string exchange(std::uint16_t port, const std::string& request) {
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket socket(io);
    socket.connect({boost::asio::ip::address_v4::loopback(), port});
    boost::asio::write(socket, boost::asio::buffer(request));
    std::string answer;
    boost::system::error_code ec;
    boost::asio::read(socket, boost::asio::dynamic_buffer(answer), ec);
    return answer;
}

inline std::string get(const LocalServer& server, const std::string& path) {
    return exchange(server.port(),
                    "GET " + path + " HTTP/1.1\r\nHost: house\r\nConnection: close\r\n\r\n");
}

} // namespace house
