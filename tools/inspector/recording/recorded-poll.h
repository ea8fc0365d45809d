#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace inspector {

/// What the local server answered to a request.
struct ServerAnswer {
    enum class Kind { reply, closed, silent };

    Kind kind = Kind::reply;
    long status = 200;
    std::string body;

    bool operator==(const ServerAnswer&) const = default;
};

/// The kind of a bus, by its name in a recording.
using BusName = std::string_view;
inline constexpr BusName tcpBus = "tcp";
inline constexpr BusName rtuBus = "rtu";

/// A read on the bus.
struct BusRead {
    int unit = 0;
    bool isInput = false;
    int address = 0;
    int count = 0;

    bool operator<(const BusRead& other) const {
        return std::tie(unit, isInput, address, count) <
               std::tie(other.unit, other.isInput, other.address, other.count);
    }
};

/// What a poll got to know. Nothing stands for what it didn't ask, or what the log doesn't tell.
struct RecordedPoll {
    /// How much of it the log tells.
    enum class Extent {
        whole,
        /// The log, or the run, ends within it.
        begun,
        /// Something is missing in its midst.
        damaged,
    };

    Extent extent = Extent::whole;
    /// Milliseconds since the epoch.
    std::int64_t time = 0;
    std::optional<ServerAnswer> rtuConfig;
    std::optional<ServerAnswer> attached;
    std::optional<ServerAnswer> supported;
    /// The outcomes of each read, one after another: a list of words or the name of a failure, as
    /// JSON that the house takes.
    std::map<BusRead, std::vector<std::string>> reads;
};

} // namespace inspector
