#pragma once

// Asio of this Boost release uses std::exchange without including it.
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include <memory>
#include <string>

namespace orv::modbusreader {

/// Carries exactly one message to the metering service: connects, writes once, and goes away. The
/// end of the connection is the end of the message. Pending handlers keep the client alive, so it
/// is made by `std::make_shared` and then left alone:
///
///     std::make_shared<SocketClient>(ioContext, path)->send(std::move(message));
///
/// All of it runs on the thread of the event loop, which must outlive the client.
class SocketClient : public std::enable_shared_from_this<SocketClient> {
public:
    /// Throws `boost::system::system_error` (name_too_long) for a path of more than 107 characters.
    SocketClient(boost::asio::io_context& ioContext, const std::string& path);

    /// Starts the delivery and returns at once. There is no result: a failure shows in the log and
    /// loses the message, and so does the part that one write doesn't take.
    void send(std::string&& message);
    /// The steps of `send`, each of which starts the next one.
    void doConnect();
    void doWrite();
    /// Does nothing: the connection ends with the object.
    void disconnect();

private:
    boost::asio::local::stream_protocol::endpoint m_endpoint;
    boost::asio::local::stream_protocol::socket m_socket;
    /// The message, which the pending write reads.
    std::string m_buffer;
};

} // namespace orv::modbusreader
