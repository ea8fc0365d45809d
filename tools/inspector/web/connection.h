#pragma once

#include "inspector/web/connection-slots.h"
#include "inspector/web/event-streams.h"
#include "inspector/web/site.h"

#include <boost/asio/ip/tcp.hpp>

namespace inspector {

/// Answers the requests of one connection until it closes or is idle for too long. @p streams
/// takes it over if it asks for news.
void serveConnection(boost::asio::ip::tcp::socket socket, ConnectionSlots::Slot slot, Site& site,
                     EventStreams& streams, ConnectionSlots& streamSlots);

} // namespace inspector
