#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "house/modbus-exchange.h"

namespace house {

/// An order to fail. Without a space or an address it holds for all of them.
struct FaultOrder {
    static constexpr int forGood = -1;

    std::optional<Space> space;
    std::optional<int> address;
    Fault fault;
    int remaining;

    bool meets(const Query& query) const;
};

/// The units of a bus: what they hold, how they were told to fail, and so what a query is answered
/// with. All functions are thread-safe; all but `remove` make the unit, if there is none yet.
class BusUnits {
public:
    void add(int id);
    void remove(int id);
    void set(int id, Space space, int address, const Words& words);
    void order(int id, const FaultOrder& order);
    /// Forgets the orders of a unit.
    void recover(int id);

    /// Decides, which uses up an order that meets the query. What a unit holds stands back behind
    /// @p recorded, its orders don't.
    Reply replyTo(const Query& query, const std::optional<Reply>& recorded = std::nullopt);

private:
    struct Unit {
        std::map<Space, std::map<int, std::uint16_t>> words;
        std::vector<FaultOrder> orders;

        std::optional<Fault> takeFault(const Query& query);
        Reply read(const Query& query) const;
    };

    std::mutex m_mutex;
    std::map<int, Unit> m_units;
};

} // namespace house
