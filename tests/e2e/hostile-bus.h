#pragma once

#include "e2e/process-world.h"

#include "house/awaited-count.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>

/// Bytes, or a text.
template <class Sequence>
Sequence repeated(const Sequence& one, int times) {
    Sequence all;
    for (int i = 0; i < times; ++i)
        all.insert(all.end(), one.begin(), one.end());
    return all;
}

/// A home of two meters of one model, "S-7" and "S-8" at the slave addresses 7 and 8, whose first
/// poll is a good one. From the second one on the meters hold other values. The power in watts
/// stands in the register 10, the energy in kilowatt hours in the register 11.
///
/// Pauses pass in no time, so that a poll takes as long as its bus does.
class HostileBus : public ProcessWorld {
protected:
    using Sender = house::BusLine::Sender;
    using Send = house::BusLine::Send;

    HostileBus();

    void useSerialLine();

    /// Does @p action at the beginning of a poll, when the server has chosen its first reply.
    /// A poll has one action at most, which may be a sender.
    void inPoll(std::size_t poll, const std::function<void()>& action);
    /// The server's next replies do, so that the reader connects anew.
    void nameAnotherDevice();

    /// Sends the answers of a poll, and of those behind it, by @p sender. Those of the polls before
    /// are sent by then, as a reader that finds other bytes doesn't wait for them.
    void sendBy(const Sender& sender, std::size_t poll);
    /// Sends the first answer of the second poll by @p first.
    void sendFirstBy(const std::function<void(const house::Bytes& frame, const Send&)>& first);

    static void asItShouldBe(const house::Query& query, const house::Bytes& frame,
                             const Send& send);
    /// As a bus that is taken off its port.
    static void keepSilent(const house::Query& query, const house::Bytes& frame, const Send& send);
    /// Keeps the first answer back that @p unit gives for @p address, as if it had not been asked.
    static Sender firstAnswerIsMissing(int unit, int address);

    /// What the second and the following polls came to, up to the @p last one: which registers
    /// could not be read and why, and then the messages that the metering service got.
    ///
    ///     poll
    ///       register 10: Connection timed out
    ///       S-7 700 W, 3 kWh
    std::string pollsUpTo(std::size_t last);

    static const std::string goodPoll;
    static const std::string goodPollAnew;
    /// The poll in which only the first register of the first meter fails.
    static std::string pollWithout10Of7(const std::string& reason);
    /// The poll in which all registers fail, so that old values go out again.
    static std::string pollOfOldValues(const std::string& reason);

    std::size_t m_meters = 2;

private:
    static constexpr std::size_t registersEach = 2;

    void putMetersOnTheBus();
    void holdValues();
    void pollBegins(std::size_t poll);
    Sender counted(const Sender& sender);

    std::map<std::size_t, std::function<void()>> m_actions;
    house::AwaitedCount m_sent;
    bool m_later = false;
};

class HostileTcp : public HostileBus {};

class HostileRtu : public HostileBus {
protected:
    HostileRtu() { useSerialLine(); }
};
