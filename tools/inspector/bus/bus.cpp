#include "inspector/bus/bus.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <linux/serial.h>
#include <sys/ioctl.h>

namespace inspector {
namespace {

constexpr int eightBits = 8;

struct Reason {
    int error;
    const char* text;
};

// Of the exceptions the numbers are those of the Modbus Application Protocol.
constexpr Reason reasons[] = {
    {EMBXILFUN, "the meter does not know this function (exception 1)"},
    {EMBXILADD, "the meter does not know this address (exception 2)"},
    {EMBXILVAL, "the meter does not give so many words (exception 3)"},
    {EMBXSFAIL, "the meter has failed (exception 4)"},
    {EMBXACK, "the meter needs more time (exception 5)"},
    {EMBXSBUSY, "the meter is busy (exception 6)"},
    {EMBXNACK, "the meter refuses (exception 7)"},
    {EMBXMEMPAR, "the meter's memory has failed (exception 8)"},
    {EMBXGPATH, "the gateway has no way to the meter (exception 10)"},
    {EMBXGTAR, "the gateway gets no answer from the meter (exception 11)"},
    {EMBBADCRC, "the answer is garbled, its check sum is wrong"},
    {EMBBADDATA, "the answer is no answer to this request"},
    {EMBBADEXC, "the answer has an exception that there isn't"},
    {EMBMDATA, "more than 125 words can't be asked for at once"},
    {EMBBADSLAVE, "the answer comes from another meter"},
    {ETIMEDOUT, "no answer in time"},
    {ECONNRESET, "the connection is gone"},
    {EINVAL, "the Modbus library refuses this address"},
};

/// As the daemon: an RS-485 port that switches its direction by RTS sends nothing otherwise. What
/// switches by itself has no such setting.
void leadDirection(int line) {
    serial_rs485 settings{};
    settings.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    ioctl(line, TIOCSRS485, &settings);
}

} // namespace

std::string Answer::failure() const {
    for (const Reason& reason : reasons)
        if (reason.error == error)
            return reason.text;
    return modbus_strerror(error);
}

std::optional<int> Answer::exception() const {
    if (error < EMBXILFUN || error > EMBXGTAR)
        return std::nullopt;
    return error - MODBUS_ENOBASE;
}

bool Answer::isFromMeter() const {
    return error == 0 || (error >= EMBXILFUN && error <= EMBXMEMPAR);
}

bool Answer::isToAnotherQuestion() const {
    return error == EMBBADDATA || error == EMBBADSLAVE || error == EMBBADCRC || error == EMBBADEXC;
}

bool Answer::isWithoutConnection() const {
    // What the Modbus library itself makes out lies above, and comes over a connection.
    return error != 0 && error != ETIMEDOUT && error < MODBUS_ENOBASE;
}

bool Answer::isRefusal() const {
    return error == EMBXILFUN || error == EMBXILADD || error == EMBXILVAL || error == EMBXSFAIL;
}

void Bus::Free::operator()(modbus_t* context) const {
    modbus_close(context);
    modbus_free(context);
}

Bus::Bus(const BusAddress& address, std::chrono::milliseconds timeOut)
    : m_address(address), m_timeOut(timeOut) {
    open();
}

void Bus::open() {
    // The line is free for the new one.
    m_context.reset();
    std::string name;
    if (m_address.tcp) {
        const auto [host, port] = *hostAndPort(*m_address.tcp);
        name = *m_address.tcp;
        m_context.reset(modbus_new_tcp_pi(host.c_str(), std::to_string(port).c_str()));
    } else {
        name = *m_address.rtu;
        const LineParameters& line = m_address.line;
        m_context.reset(
            modbus_new_rtu(name.c_str(), line.baud, line.parity, eightBits, line.stopBits));
    }
    if (!m_context)
        throw BusError(name + ": " + modbus_strerror(errno));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(m_timeOut);
    const auto rest = std::chrono::microseconds(m_timeOut - seconds);
    modbus_set_response_timeout(m_context.get(), static_cast<std::uint32_t>(seconds.count()),
                                static_cast<std::uint32_t>(rest.count()));
    if (modbus_connect(m_context.get()) == -1)
        throw BusError(name + ": " + modbus_strerror(errno));
    if (m_address.rtu)
        leadDirection(modbus_get_socket(m_context.get()));
}

void Bus::setLine(const LineParameters& line) {
    m_address.line = line;
    open();
}

void Bus::reconnect() {
    open();
}

Answer Bus::read(int slaveAddress, bool isInput, int address, int words) {
    const auto begin = std::chrono::steady_clock::now();
    Answer answer;
    answer.words.resize(MODBUS_MAX_READ_REGISTERS);
    int count = -1;
    if (modbus_set_slave(m_context.get(), slaveAddress) == 0)
        count = (isInput ? modbus_read_input_registers : modbus_read_registers)(
            m_context.get(), address, words, answer.words.data());
    answer.error = count == -1 ? errno : 0;
    answer.words.resize(static_cast<std::size_t>(std::max(count, 0)));
    answer.time = std::chrono::steady_clock::now() - begin;
    return answer;
}

void Bus::forgetLateAnswers() {
    modbus_flush(m_context.get());
}

std::optional<std::pair<std::string, int>> hostAndPort(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        return std::nullopt;
    std::string host = text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    int port = 0;
    const auto [rest, error] =
        std::from_chars(text.data() + colon + 1, text.data() + text.size(), port);
    constexpr int highest = 65535;
    if (error != std::errc() || rest != text.data() + text.size() || port < 1 || port > highest)
        return std::nullopt;
    return std::pair(host, port);
}

} // namespace inspector
