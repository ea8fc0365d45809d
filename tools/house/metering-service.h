#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace house {

/// One message as it arrived: all bytes of one connection up to its end.
struct Message {
    std::string text;
    /// Number of the connection, in the order in which they were accepted.
    std::size_t connection = 0;
    /// The moment at which the end of the stream was seen.
    std::chrono::system_clock::time_point arrived;
};

/// The metering service of the house: a Unix stream listener, served by a thread of its own for as
/// long as the object lives. It replaces the socket file of a service that is gone, opens its own
/// to the group `metering`, if it can, and removes it at the end. All functions are thread-safe.
class MeteringService {
public:
    /// Listens at once. Throws `boost::system::system_error` when @p path cannot be bound, when a
    /// live service has it, or when it is no socket.
    explicit MeteringService(const std::string& path = "/var/run/orv-metering.sock");
    ~MeteringService();
    MeteringService(const MeteringService&) = delete;
    MeteringService& operator=(const MeteringService&) = delete;

    /// The messages since the start or the last `clear`, in the order in which they were completed.
    std::vector<Message> messages() const;
    /// Only their bytes.
    std::vector<std::string> texts() const;
    /// Waits until at least @p count messages are there. False when the limit of `Patience` passed
    /// first.
    [[nodiscard]] bool waitForMessages(std::size_t count) const;
    void clear();

    /// With true, every connection from now on is accepted and closed at once, unread.
    void acceptAndClose(bool on);
    /// Waits until at least @p count connections have been accepted since the start.
    [[nodiscard]] bool waitForConnections(std::size_t count) const;

    /// Calls @p callback on the service's thread after each message. It may be replaced at
    /// any time, even by itself; a call that is under way then runs to its end.
    void whenArrived(std::function<void(const Message&)> callback);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace house
