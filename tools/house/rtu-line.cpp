#include "house/rtu-line.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include <poll.h>

namespace house {

Bytes rtuFrame(Bytes message) {
    unsigned sum = 0xFFFF;
    for (const std::uint8_t byte : message) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum & 1U) != 0 ? sum >> 1 ^ 0xA001U : sum >> 1;
    }
    message.insert(message.end(), {lowByte(sum), highByte(sum)});
    return message;
}

namespace {

/// Unit, function, address, count and check sum.
constexpr std::size_t bytesOfRead = 8;

/// Turns over the last byte ahead of the check sum.
void garble(Bytes& frame) {
    frame[frame.size() - 3] ^= 0xFF;
}

/// Whether a frame that asks for registers came as it was sent.
bool isIntactRead(const std::uint8_t* frame) {
    constexpr std::size_t length = 6;
    const Bytes right = rtuFrame(Bytes(frame, frame + length));
    return std::equal(right.begin(), right.end(), frame);
}

} // namespace

RtuLine::RtuLine(std::string device, const WireTime& wireTime)
    : m_device(std::move(device)), m_wireTime(wireTime), m_context(newContext()) {
    require(modbus_connect(m_context.get()), m_device.c_str());
    m_line = Descriptor(modbus_get_socket(m_context.get()));
}

ModbusContext RtuLine::newContext() const {
    ModbusContext context(modbus_new_rtu(m_device.c_str(), 19200, 'E', 8, 1));
    modbus_set_slave(context.get(), m_unit);
    return context;
}

void RtuLine::serve(const Wakeup& stop, const Responder& respond) {
    std::array<pollfd, 2> wait{{{stop.descriptor(), POLLIN, 0}, {m_line.number(), POLLIN, 0}}};
    for (;;) {
        if (::poll(wait.data(), wait.size(), -1) < 0)
            continue;
        if (wait[0].revents != 0 || (wait[1].revents & (POLLHUP | POLLERR)) != 0)
            return;
        answer(stop, respond);
    }
}

void RtuLine::answer(const Wakeup& stop, const Responder& respond) {
    const std::optional<Query> query = receive();
    if (!query)
        return;
    const auto arrived = std::chrono::steady_clock::now();
    const std::optional<Reply> reply = respond(*query);
    if (!reply)
        return;
    Bytes frame = rtuFrame(reply->message(*query));
    if (reply->has(Fault::Kind::garbled) || reply->has(Fault::Kind::hangUp))
        garble(frame);
    const auto answered =
        arrived + reply->lateness() + m_wireTime.ofExchange(bytesOfRead, frame.size());
    if (!stop.isQuietUntil(answered))
        return;
    m_send(*query, frame, [this](const Bytes& bytes) {
        // Nobody listens on a line that takes no more.
        [[maybe_unused]] const ssize_t size = ::write(m_line.number(), bytes.data(), bytes.size());
    });
}

// libmodbus serves one unit per context: it does not check the frame of a foreign unit, and takes
// what follows it for that unit's answer. This bus has many units, so a foreign frame is checked
// here, and a fresh context on the same line goes on for its unit.
std::optional<Query> RtuLine::receive() {
    std::array<std::uint8_t, MODBUS_RTU_MAX_ADU_LENGTH> frame{};
    const int length = modbus_receive(m_context.get(), frame.data());
    if (length < 0)
        return std::nullopt;
    if (length == 0) {
        m_unit = frame[0];
        m_context = newContext();
        modbus_set_socket(m_context.get(), m_line.number());
        if (!isIntactRead(frame.data()))
            return std::nullopt;
    }
    return Query::in(frame.data());
}

} // namespace house
