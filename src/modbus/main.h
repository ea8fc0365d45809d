#pragma once

// Asio of this Boost release uses std::exchange without including it.
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>

namespace orv::modbusreader {

class SerialConnection;

/// The repeating timer. Its expiries advance by one interval each, whatever the clock says, so
/// ticks follow one another at once while the callback takes longer than the interval.
class Fuf {
public:
    using Callback = std::function<void(const boost::system::error_code&)>;

    /// Sets the first expiry to now plus @p interval and starts nothing.
    Fuf(boost::asio::io_context& io, std::chrono::seconds interval, Callback callback);
    /// Adds one interval to the expiry and waits, so the first tick comes two intervals after
    /// construction.
    void start();

protected:
    boost::asio::steady_timer m_timer;
    std::chrono::seconds m_interval;
    Callback m_callback;
};

/// What each tick does: a poll of @p connection, unless one is in progress. The error code of the
/// wait is only logged.
Fuf::Callback pollOnTick(SerialConnection& connection);

/// The run of the daemon: a poll at once, then one on each tick of the timer. Gives the exit status
/// in the end, which only an empty event loop would bring; what no handler of a poll took is
/// thrown.
int runReader();

} // namespace orv::modbusreader
