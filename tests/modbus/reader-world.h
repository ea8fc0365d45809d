#pragma once

#include "modbus/serial-toolkit.h"
#include "support/c-calls.h"
#include "support/modbus-calls.h"
#include "support/world.h"

#include <boost/asio/io_context.hpp>
#include <linux/serial.h>

#include <memory>
#include <string>
#include <vector>

/// A connection with the queue and the loop that `main` gives it.
struct Reader {
    boost::asio::io_context ioContext;
    orv::modbusreader::SenderQueue senderQueue{ioContext, "/var/run/orv-metering.sock"};
    orv::modbusreader::SerialConnection connection{
        orv::HttpClient(false), {}, ioContext, senderQueue};

    /// Lets the messages so far go out.
    void deliver() {
        ioContext.restart();
        ioContext.run();
    }
};

/// A world with the reader's code in this process. Its pauses on the bus take no time.
class ReaderWorld : public World {
protected:
    ReaderWorld();
    /// Leaves the code without a connection, as it was.
    ~ReaderWorld() override;

    Reader reader;

    /// A poll without its last second, and its delivery.
    void poll();
    /// Lets the messages so far go out, and waits until the service has them.
    void deliver();

    /// What the library was asked on the bus so far, such as
    ///
    ///     set_slave 7
    ///     usleep 20000
    ///     read_input_registers 30001 x2
    std::vector<std::string> steps();

    /// Whether the port can be set for RS-485, as no pseudo terminal can.
    bool rs485Succeeds = true;

private:
    /// Replaces a library's function, or tells each call of it, as long as this world lasts.
    template <class Call, class Replacement>
    void replace(Call& call, const Replacement& replacement);
    template <class Call, class Observer>
    void observe(Call& call, const Observer& observer);
    void observeConnection();
    void observeReads();
    void called(const std::string& text);
    void stepped(const std::string& text);
    int setRs485(int fd, const serial_rs485& conf);
    void leaveNoConnection();

    std::vector<int> m_rs485Descriptors;
    std::string m_address;

    /// The stand-ins of this world.
    std::vector<std::shared_ptr<void>> m_scopes;
};
