#include "modbus/fuf.h"
#include "modbus/serial-toolkit.h"

#include <boost/system/system_error.hpp>

// Nothing is caught here: what no handler of a poll took ends the process through std::terminate,
// and the service manager starts it anew.
int main() { // NOLINT(bugprone-exception-escape)
    using namespace orv::modbusreader;

    const vx::LogChannel& channel = mainLogChannel();
    VX_LOG(channel, notice, "Starting modbus Reader");
    VX_LOG(channel, notice, "------------------------------------------------------------");
    boost::asio::io_context ioContext;
    SenderQueue senderQueue(ioContext, "/var/run/orv-metering.sock");
    SerialConnection connection{orv::HttpClient(false), {}, ioContext, senderQueue};
    connection.start();
    Fuf fuf(ioContext, std::chrono::seconds(1), pollOnTick(connection));
    fuf.start();
    boost::system::error_code ec;
    ioContext.run(ec);
    if (ec)
        throw boost::system::system_error(ec);
    return 0;
}
