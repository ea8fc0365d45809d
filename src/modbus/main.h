#pragma once

// Asio of this Boost release uses std::exchange without including it.
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>

namespace orv::modbusreader {

class SerialConnection;

/// The repeating timer of the poll, on the steady clock. Its expiries advance by one interval each,
/// whatever the clock says, so ticks follow one another at once while the callback takes longer
/// than the interval, and none is lost. It must live for as long as the event loop runs; what the
/// callback throws leaves the event loop.
class Fuf {
public:
    /// Called on the thread of the event loop at each tick, with the result of the wait.
    using Callback = std::function<void(const boost::system::error_code&)>;

    /// Sets the first expiry to now plus @p interval and starts nothing.
    Fuf(boost::asio::io_context& io, std::chrono::seconds interval, Callback callback);
    /// Adds one interval to the expiry and waits, so the first tick comes two intervals after
    /// construction. Each tick does the same again, so it is called once.
    void start();

protected:
    boost::asio::steady_timer m_timer;
    std::chrono::seconds m_interval;
    Callback m_callback;
};

/// What each tick does: a poll of @p connection, unless one is in progress. The error code of the
/// wait is only logged. The connection must outlive the callback.
Fuf::Callback pollOnTick(SerialConnection& connection);

/// The run of the daemon: a poll at once, then one on each tick of the timer. It returns 0, the
/// exit status, if the event loop ever runs empty, which the timer prevents; so a signal ends it.
/// An exception that a poll doesn't catch leaves it. It changes the process: descriptors 0 to 2 are
/// opened if they were closed, the limit of open ones is that of `select`, and the environment
/// loses its proxies.
int runReader();

} // namespace orv::modbusreader
