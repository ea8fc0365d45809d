#include "inspector/web/event-streams.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <chrono>
#include <utility>
#include <vector>

namespace inspector {

namespace {

using Clock = std::chrono::steady_clock;
using boost::system::error_code;

constexpr std::chrono::seconds patience{5};

} // namespace

class EventStream : public std::enable_shared_from_this<EventStream> {
public:
    EventStream(EventStreams& all, boost::asio::ip::tcp::socket socket, ConnectionSlots::Slot slot)
        : m_all(all), m_socket(std::move(socket)), m_slot(std::move(slot)) {}

    /// Finds out when the other end goes; it has nothing to say.
    void listen() {
        m_socket.async_read_some(
            boost::asio::buffer(m_input),
            [self = shared_from_this()](error_code, std::size_t) { self->drop(); });
    }

    void send(std::shared_ptr<const std::string> text) {
        m_isBehind = m_text != nullptr;
        if (m_isBehind)
            return;
        m_text = std::move(text);
        m_begin = Clock::now();
        boost::asio::async_write(m_socket, boost::asio::buffer(*m_text),
                                 [self = shared_from_this()](error_code error, std::size_t) {
                                     self->m_text.reset();
                                     if (error)
                                         self->drop();
                                     else if (self->m_isBehind)
                                         self->send(self->m_all.m_last);
                                 });
    }

    bool isSlow() const { return m_text && Clock::now() - m_begin > patience; }

    void drop() {
        error_code ignored;
        m_socket.close(ignored);
        if (!std::exchange(m_isDropped, true))
            m_all.m_streams.erase(shared_from_this());
    }

private:
    EventStreams& m_all;
    boost::asio::ip::tcp::socket m_socket;
    ConnectionSlots::Slot m_slot;
    std::array<char, 1> m_input{};
    /// What it takes just now.
    std::shared_ptr<const std::string> m_text;
    Clock::time_point m_begin;
    /// There were others meanwhile.
    bool m_isBehind = false;
    bool m_isDropped = false;
};

EventStreams::EventStreams() = default;
EventStreams::~EventStreams() = default;

void EventStreams::add(boost::asio::ip::tcp::socket socket, ConnectionSlots::Slot slot,
                       std::shared_ptr<const std::string> first) {
    const auto stream = std::make_shared<EventStream>(*this, std::move(socket), std::move(slot));
    m_streams.insert(stream);
    stream->listen();
    stream->send(std::move(first));
}

void EventStreams::send(const std::shared_ptr<const std::string>& text) {
    m_last = text;
    for (const auto& stream : m_streams)
        stream->send(text);
}

void EventStreams::dropSlow() {
    std::vector<std::shared_ptr<EventStream>> slow;
    for (const auto& stream : m_streams)
        if (stream->isSlow())
            slow.push_back(stream);
    for (const auto& stream : slow)
        stream->drop();
}

} // namespace inspector
