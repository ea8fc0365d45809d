#include "modbus/reader-world.h"

#include "vx/log.h"
#include "vx/str.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using Kind = Transcript::Kind;

template <class Call, class Replacement>
void ReaderWorld::replace(Call& call, const Replacement& replacement) {
    m_scopes.push_back(std::make_shared<typename Call::Scope>(call, replacement));
}

template <class Call, class Observer>
void ReaderWorld::observe(Call& call, const Observer& observer) {
    replace(call, call.observedBy(observer));
}

ReaderWorld::ReaderWorld() {
    observeConnection();
    observeReads();
    replace(c_calls::ioctl, [this](int fd, unsigned long request, void* argument) {
        return request == TIOCSRS485 ? setRs485(fd, *static_cast<serial_rs485*>(argument))
                                     : c_calls::ioctl.real(fd, request, argument);
    });
    vx::Logger::instance().setLogFunction(
        [this](const char* channel, vx::LogSeverity severity, const std::string& message) {
            logged(vx::str(severity, " ", channel, " ", message));
        });
}

void ReaderWorld::observeConnection() {
    using namespace modbus_calls;
    observe(new_rtu, [this](const char* device, int baud, char parity, int dataBits, int stopBits) {
        m_address = vx::str("rtu ", device, " ", baud, " ", parity, " ", dataBits, " ", stopBits);
    });
    observe(new_tcp,
            [this](const char* host, int port) { m_address = vx::str("tcp ", host, ":", port); });
    observe(modbus_calls::connect, [this](modbus_t*) { called("connect " + m_address); });
    observe(flush, [this](modbus_t*) { called("flush"); });
    observe(modbus_calls::close, [this](modbus_t*) { called("close"); });
    observe(modbus_calls::free, [this](modbus_t*) { called("free"); });
    observe(set_error_recovery, [this](modbus_t*, modbus_error_recovery_mode mode) {
        called(vx::str("error recovery ", static_cast<int>(mode)));
    });
    observe(set_response_timeout,
            [this](modbus_t*, std::uint32_t seconds, std::uint32_t microseconds) {
                called(vx::str("response timeout ", seconds, " s ", microseconds, " us"));
            });
    observe(set_indication_timeout,
            [this](modbus_t*, std::uint32_t seconds, std::uint32_t microseconds) {
                called(vx::str("indication timeout ", seconds, " s ", microseconds, " us"));
            });
}

void ReaderWorld::observeReads() {
    using namespace modbus_calls;
    observe(set_slave, [this](modbus_t*, int slave) { stepped(vx::str("set_slave ", slave)); });
    observe(read_registers, [this](modbus_t*, int address, int count, std::uint16_t*) {
        stepped(vx::str("read_registers ", address, " x", count));
    });
    observe(read_input_registers, [this](modbus_t*, int address, int count, std::uint16_t*) {
        stepped(vx::str("read_input_registers ", address, " x", count));
    });
    replace(c_calls::usleep, [this](useconds_t microseconds) {
        stepped(vx::str("usleep ", microseconds));
        return 0;
    });
}

ReaderWorld::~ReaderWorld() {
    vx::Logger::instance().setLogFunction([](const char*, vx::LogSeverity, const std::string&) {});
    leaveNoConnection();
    vx::Logger::instance().setLogFunction(vx::Logger::defaultLogFunction);
    // The reader keeps them open for its lifetime.
    for (const int fd : m_rs485Descriptors)
        close(fd);
}

/// A reconnect gives the old connection up, and the library makes none for a parity without a
/// letter of its own.
void ReaderWorld::leaveNoConnection() {
    writeConfigFile("{}");
    reader.connection.m_config = {"", vxModel::BaudRateType::baud9600, vxModel::Parity::uninitilzed,
                                  vxModel::DataBits::bits8, vxModel::StopBits::bits1};
    reader.connection.doReconnect();
}

void ReaderWorld::poll() {
    reader.connection.querySerialConnectionConfig();
    reader.connection.doRead();
    deliver();
}

void ReaderWorld::deliver() {
    reader.deliver();
    awaitMessages();
}

std::vector<std::string> ReaderWorld::steps() {
    return m_transcript.takeAll(Kind::step);
}

void ReaderWorld::called(const std::string& text) {
    // A slave calls the library too, on a thread of its own.
    if (gettid() == getpid())
        happened(Kind::call, text);
}

void ReaderWorld::stepped(const std::string& text) {
    if (gettid() == getpid())
        happened(Kind::step, text);
}

int ReaderWorld::setRs485(int fd, const serial_rs485& conf) {
    const bool readsAndWrites = (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDWR;
    called(vx::str("rs485 ", readsAndWrites ? "read-write" : "one-way", " flags ", conf.flags,
                   " delays ", conf.delay_rts_before_send, " ", conf.delay_rts_after_send));
    m_rs485Descriptors.push_back(fd);
    return rs485Succeeds ? 0 : -1;
}
