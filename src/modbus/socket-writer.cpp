#include "modbus/socket-writer.h"

#include "vx/log.h"

#include <boost/asio/buffer.hpp>

#include <cstddef>
#include <cstdio>

namespace orv::modbusreader {
namespace {

vx::LogChannel channel("modbusreaderSocketWriter", vx::LogSeverity::debug);

} // namespace

SocketClient::SocketClient(boost::asio::io_context& ioContext, const std::string& path)
    : m_endpoint(path), m_socket(ioContext) {}

void SocketClient::send(std::string&& message) {
    m_buffer = std::move(message);
    doConnect();
}

void SocketClient::doConnect() {
    VX_LOG(channel, debug, "Connect");
    auto self = shared_from_this();
    m_socket.async_connect(m_endpoint, [self](const boost::system::error_code& ec) {
        // Not through the logger: operators count deliveries by this line, whatever the log's rules
        // are. `stderr`, as a C++ stream writes nothing any more once a write has failed.
        std::fputs("=================================\n", stderr);
        std::fflush(stderr);
        if (!ec)
            self->doWrite();
        else
            VX_LOG(channel, warning, "Could not connect", ec, self->m_endpoint.path());
    });
}

void SocketClient::doWrite() {
    VX_LOG(channel, notice, "Writing ", m_buffer);
    auto self = shared_from_this();
    // One write that may take less than all of the message. The rest is dropped, as the next poll
    // brings a fresher message anyway.
    m_socket.async_write_some(boost::asio::buffer(m_buffer),
                              [self](const boost::system::error_code& ec, std::size_t size) {
                                  VX_LOG(channel, notice, "TRANSFERRED ", self->m_buffer.size(),
                                         size);
                                  if (ec)
                                      VX_LOG(channel, error, ec);
                              });
}

void SocketClient::disconnect() {}

} // namespace orv::modbusreader
