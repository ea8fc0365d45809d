#include "modbus/fuf.h"

#include "modbus/serial-toolkit.h"

namespace orv::modbusreader {
namespace {

vx::LogChannel channel("modbusreaderMain", vx::LogSeverity::notice);

} // namespace

vx::LogChannel& mainLogChannel() {
    return channel;
}

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

} // namespace orv::modbusreader
