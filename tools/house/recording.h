#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "house/json-part.h"
#include "house/local-server.h"
#include "house/meter.h"
#include "house/modbus-slave.h"
#include "house/wire-time.h"

namespace house {

/// A home of the past: what the local server and the bus answered in each of its polls, see `Home`.
/// A poll begins with the request for the serial parameters. After the last one everything stays as
/// it was then.
class Recording {
public:
    explicit Recording(const JsonPart& description);

    /// Those that any reply attaches, and units without a name.
    const std::vector<Meter>& meters() const { return m_meters; }
    /// Answers come at once.
    static WireTime wireTime() { return {}; }
    void serveOn(LocalServer& server);
    /// Throws `std::runtime_error` on another kind of bus than the recorded one.
    void liveOn(ModbusSlave& slave);
    std::string moment() const;

private:
    /// What a request on the bus asks for.
    struct Read {
        int unit;
        Space space;
        int address;
        int count;

        bool operator<(const Read& other) const {
            return std::tie(unit, space, address, count) <
                   std::tie(other.unit, other.space, other.address, other.count);
        }
    };
    /// What it is answered with, one reply after another within a poll; the last one stays.
    struct Turns {
        std::vector<Reply> replies;
        std::size_t next = 0;
    };
    /// What is otherwise than in the poll before. The answers are shared with those that hold on.
    struct Poll {
        std::map<std::string, std::shared_ptr<const Answer>> answers;
        std::map<Read, Turns> reads;
    };

    static Poll toPoll(const JsonPart& part);
    static void collectReads(Poll& poll, int unit, const JsonPart& registers);
    static Read toRead(int unit, const std::string& key, const JsonPart& part);
    void collectMeters();
    void collectAttached(const std::string& reply);
    void addMeter(const std::string& name, int slaveAddress);

    void beginPoll();
    Answer answer(const std::string& path);
    void answer(const Query& query, std::optional<Reply>& reply);

    void requireBusOf(const ModbusSlave& slave) const;

    /// Empty if any will do.
    std::string m_bus;
    std::vector<Poll> m_polls;
    std::vector<Meter> m_meters;
    mutable std::mutex m_mutex;
    std::size_t m_begun = 0;
    /// What holds now.
    Poll m_now;
};

} // namespace house
