#include "modbus/main.h"

#include "modbus/serial-toolkit.h"
#include "vx/log.h"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

namespace orv::modbusreader {
namespace {

vx::LogChannel channel("modbusreaderMain", vx::LogSeverity::notice);

/// Opens those of the descriptors 0 to 2 that were closed at the start. Otherwise the bus or a
/// socket would get such a number, and the log would be written to it.
void occupyStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/dev/null", O_RDWR);
}

/// The Modbus library waits by `select`, which aborts the process for a descriptor of 1024 or more.
/// With this limit no such descriptor is given out: opening it fails, and the poll goes on.
void limitDescriptors() {
    rlimit limit{};
    // Under the service both calls are refused, and this limit is set already.
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, FD_SETSIZE);
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// Removes the proxies from the environment: the HTTP library would ask them for the local server
/// too.
void forgetProxies() {
    for (const char* variable :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
        unsetenv(variable);
}

} // namespace

Fuf::Fuf(boost::asio::io_context& io, std::chrono::seconds interval, Callback callback)
    : m_timer(io, interval), m_interval(interval), m_callback(std::move(callback)) {}

void Fuf::start() {
    m_timer.expires_at(m_timer.expiry() + m_interval);
    // NOLINTNEXTLINE(readability-identifier-naming)
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
    occupyStandardDescriptors();
    limitDescriptors();
    forgetProxies();
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
