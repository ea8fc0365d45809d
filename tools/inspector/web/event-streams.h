#pragma once

#include "inspector/web/connection-slots.h"

#include <boost/asio/ip/tcp.hpp>

#include <memory>
#include <set>
#include <string>

namespace inspector {

class EventStream;

/// Those who want the news. What comes while one still takes earlier news is not kept for it: it
/// gets the last of them then, which hold all of the others. Who takes nothing for some seconds is
/// dropped.
class EventStreams {
public:
    EventStreams();
    ~EventStreams();
    EventStreams(const EventStreams&) = delete;
    EventStreams& operator=(const EventStreams&) = delete;

    /// Begins with @p first.
    void add(boost::asio::ip::tcp::socket socket, ConnectionSlots::Slot slot,
             std::shared_ptr<const std::string> first);
    void send(const std::shared_ptr<const std::string>& text);
    /// Drops who has taken nothing for too long.
    void dropSlow();
    std::size_t size() const { return m_streams.size(); }

private:
    friend class EventStream;

    std::set<std::shared_ptr<EventStream>> m_streams;
    std::shared_ptr<const std::string> m_last;
};

} // namespace inspector
