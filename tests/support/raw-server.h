#pragma once

#include "house/callback.h"
#include "house/patience.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

/// A local server on 127.0.0.1:8088 that sends whatever bytes a test wants, HTTP or not. One
/// connection after the other, each for one request, served by a thread of its own for as long as
/// the object lives.
class RawServer {
public:
    /// The connection of a request that has been read.
    class Connection {
    public:
        /// Sends @p bytes as they are. False when the client has gone.
        bool send(std::string_view bytes);
        /// Waits for the client to close. False when @p limit passed first.
        bool waitForEnd(std::chrono::milliseconds limit = house::Patience::limit());
        /// Reads one more request. False when the client has closed instead.
        bool readRequest();
        /// Lets the connection end by a reset instead of in order.
        void endByReset();

    private:
        friend class RawServer;
        using Socket = boost::asio::ip::tcp::socket;

        explicit Connection(Socket& socket) : m_socket(socket) {}

        Socket& m_socket;
        /// Path of the request that was read last.
        std::string m_path;
        std::string m_read;
    };

    using Answer = std::function<void(Connection&)>;

    RawServer();
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    /// A whole reply with @p body. The connection ends behind it.
    static std::string reply(const std::string& body);

    /// Every request on @p path is answered with @p body.
    void serve(const std::string& path, const std::string& body);
    /// All but the @p number'th, counted from 1.
    void answer(const std::string& path, std::size_t number, Answer answer);

    /// Calls @p callback on the server's thread with the path of each request that it reads, and
    /// whether it is one of those with an answer of their own, before it is answered.
    void whenRequested(std::function<void(const std::string& path, bool isOwn)> callback);

private:
    void run();
    void serve(Connection& connection);
    /// The answer to the next request on @p path, and whether it is one of its own.
    std::pair<Answer, bool> take(const std::string& path);

    boost::asio::io_context m_io;
    boost::asio::ip::tcp::acceptor m_acceptor;
    std::mutex m_mutex;
    std::map<std::string, std::string> m_bodies;
    std::map<std::string, std::map<std::size_t, Answer>> m_answers;
    std::map<std::string, std::size_t> m_counts;
    /// The socket that is being served, and -1 when none is.
    int m_served = -1;
    bool m_ending = false;
    house::Callback<std::string, bool> m_whenRequested;
    std::thread m_thread;
};
