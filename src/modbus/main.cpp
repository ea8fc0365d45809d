#include "modbus/main.h"

#include "modbus/serial-toolkit.h"
#include "vx/log.h"

#include <boost/system/system_error.hpp>

namespace orv::modbusreader {
namespace {

vx::LogChannel channel("modbusreaderMain", vx::LogSeverity::notice);

} // namespace

Fuf::Fuf(boost::asio::io_context& io, std::chrono::seconds interval, Callback callback)
    : m_timer(io, interval), m_interval(interval), m_callback(std::move(callback)) {}

void Fuf::start() {
    m_timer.expires_at(m_timer.expiry() + m_interval);
    // NOLINTNEXTLINE(readability-identifier-naming): the name is the key in the log
    m_timer.async_wait([this](const boost::system::error_code& error_code) {
        VX_LOG(channel, notice, "retry timer", m_timer.expiry(), error_code);
        m_callback(error_code);
        start();
    });
}

Fuf::Callback pollOnTick(SerialConnection& connection) {
    return [&connection](const boost::system::error_code& ec) {
        VX_LOG(channel, notice, "callback", ec);
        if (!connection.m_busy)
            connection.start();
    };
}

int runReader() {
    VX_LOG(channel, notice, "Starting modbus Reader");
    VX_LOG(channel, notice, "------------------------------------------------------------");
    boost::asio::io_context ioContext;
    SenderQueue senderQueue(ioContext, "/var/run/orv-metering.sock");
    SerialConnection serialConnection{orv::HttpClient(false), {}, ioContext, senderQueue};
    serialConnection.start();
    Fuf fuf(ioContext, std::chrono::seconds(1), pollOnTick(serialConnection));
    fuf.start();
    boost::system::error_code ec;
    ioContext.run(ec);
    if (ec)
        throw boost::system::system_error(ec);
    return 0;
}

} // namespace orv::modbusreader
