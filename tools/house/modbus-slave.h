#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "house/bus-line.h"
#include "house/modbus-exchange.h"
#include "house/wire-time.h"

namespace house {

struct FaultOrder;

/// Where a slave on Modbus TCP listens on 127.0.0.1; 0 takes any free port.
struct TcpPort {
    std::uint16_t number = 0;
};

/// The serial device that a slave on Modbus RTU serves, at 19200 8E1.
struct Tty {
    std::string device;
    /// What the bytes take on the line that the device stands for; by itself a pseudo terminal
    /// takes none.
    WireTime wireTime = {};
};

/// A bus with Modbus slaves, several units on one line or port, served by a thread of its own for
/// as long as the object lives.
///
/// A unit that was never mentioned keeps silent, on RTU and on TCP alike. A request that touches a
/// word which was never set gets exception 2, a function other than reading input or holding
/// registers exception 1. On TCP any number of connections is served at the same time.
/// All functions are thread-safe.
class ModbusSlave {
public:
    class Unit;

    /// Serves at once. Throws `std::system_error` when the port or the device cannot be opened.
    explicit ModbusSlave(TcpPort port);
    explicit ModbusSlave(const Tty& tty);
    ~ModbusSlave();
    ModbusSlave(const ModbusSlave&) = delete;
    ModbusSlave& operator=(const ModbusSlave&) = delete;

    /// The TCP port; 0 on a serial line.
    std::uint16_t port() const;

    /// The unit with the slave address @p id, which exists from now on.
    Unit unit(int id);
    /// Takes a unit off the bus: it keeps silent from now on.
    void removeUnit(int id);

    /// The bus conversation since the start or the last `clearTranscript`, two lines per request:
    /// ">> unit 7  read input 30001 x2", or ">> unit 7  function 6" for another function, and what
    /// came back:
    ///
    ///     << 0000 05DC
    ///     << exception 2
    ///     << silence
    ///     << short 0000
    ///     << late 0000 05DC         held back
    ///     << garbled 0000 05DC      as it was before the damage
    ///     << unit 9 0000 05DC       in the name of that unit
    ///     << hang-up
    ///
    /// Those three above the last can be an exception too, like "<< late exception 2".
    std::string transcript() const;
    void clearTranscript();

    /// The number of requests since the start.
    std::size_t requestCount() const;
    /// Waits until at least @p count requests have come since the start; the transcript holds them
    /// by then. False when the limit of `Patience` passed first.
    [[nodiscard]] bool waitForRequests(std::size_t count) const;
    /// The same for accepted TCP connections.
    [[nodiscard]] bool waitForConnections(std::size_t count) const;
    /// Cuts all TCP connections that are open now.
    void dropConnections();

    /// Calls @p callback on the slave's thread before each answer, so that the values can be
    /// brought up to date. It may be replaced at any time, even by itself; a call that is under way
    /// then runs to its end.
    void beforeAnswer(std::function<void()> callback);
    /// Lets @p responder answer reads in the place of what the units hold, on the slave's thread;
    /// one that it leaves without a reply is answered as ever. Units that don't exist keep silent,
    /// and orders to fail win. It may be replaced like the callback.
    void answerBy(std::function<void(const Query& query, std::optional<Reply>& reply)> responder);
    /// Calls @p callback on the slave's thread with the two lines of each request as they stand in
    /// the transcript, before the answer is sent. It may be replaced like the other.
    void whenAnswering(std::function<void(const std::string& lines)> callback);

    /// Lets @p sender put each answer on the line in its own way, on the slave's thread: what it
    /// passes to its `send` goes over the line as it is, and nothing else. The transcript holds the
    /// right answer all the same. It may be replaced like the callbacks.
    void sendBy(BusLine::Sender sender);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

/// One unit on the bus: a short-lived handle, valid as long as its `ModbusSlave`.
class ModbusSlave::Unit {
public:
    /// Sets @p words from @p address on in one of the two register spaces.
    Unit& input(int address, const Words& words);
    Unit& holding(int address, const Words& words);
    Unit& set(Space space, int address, const Words& words);

    /// The next @p requests requests that begin at @p address fail so, in either register space or
    /// in the one that is named. Orders for one address queue up.
    Unit& failNext(int address, const Fault& fault, int requests = 1);
    Unit& failNext(Space space, int address, const Fault& fault, int requests = 1);
    /// Every request that begins at @p address fails so, or every request at all.
    Unit& failAlways(int address, const Fault& fault);
    Unit& failAlways(Space space, int address, const Fault& fault);
    Unit& failAlways(const Fault& fault);
    /// Forgets all orders to fail.
    Unit& recover();

private:
    friend class ModbusSlave;
    Unit(Impl& impl, int id) : m_impl(&impl), m_id(id) {}
    Unit& order(const FaultOrder& order);

    Impl* m_impl;
    int m_id;
};

} // namespace house
