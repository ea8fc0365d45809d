#include "house/bus-units.h"

#include <algorithm>

#include <modbus/modbus.h>

namespace house {

namespace {

Reply silence() {
    return {{}, {}, Fault::silence};
}

Reply exception(unsigned code) {
    return {{}, code, {}};
}

} // namespace

bool FaultOrder::meets(const Query& query) const {
    return remaining != 0 && (!space || *space == query.space()) &&
           (!address || *address == query.address);
}

std::optional<Fault> BusUnits::Unit::takeFault(const Query& query) {
    const auto meets = [&](const FaultOrder& order) { return order.meets(query); };
    const auto found = std::find_if(orders.begin(), orders.end(), meets);
    if (found == orders.end())
        return std::nullopt;
    if (found->remaining != FaultOrder::forGood)
        --found->remaining;
    return found->fault;
}

Reply BusUnits::Unit::read(const Query& query) const {
    Reply reply;
    const auto space = words.find(query.space());
    for (int address = query.address; address < query.address + query.count; ++address) {
        if (space == words.end() || !space->second.contains(address))
            return exception(MODBUS_EXCEPTION_ILLEGAL_DATA_ADDRESS);
        reply.words.push_back(space->second.at(address));
    }
    return reply;
}

Reply BusUnits::replyTo(const Query& query, const std::optional<Reply>& recorded) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_units.find(query.unit);
    if (found == m_units.end())
        return silence();
    if (!query.reads())
        return exception(MODBUS_EXCEPTION_ILLEGAL_FUNCTION);
    const bool isLegal = query.count >= 1 && query.count <= MODBUS_MAX_READ_REGISTERS;
    if (!isLegal && !recorded)
        return exception(MODBUS_EXCEPTION_ILLEGAL_DATA_VALUE);

    const std::optional<Fault> fault = found->second.takeFault(query);
    if (fault && fault->kind() == Fault::Kind::exception)
        return exception(fault->code());
    Reply reply = recorded ? *recorded : found->second.read(query);
    if (fault)
        reply.fault = fault;
    if (isLegal && reply.has(Fault::Kind::shortAnswer)) {
        reply.exception.reset();
        reply.words.resize(static_cast<std::size_t>(query.count - 1));
    }
    return reply;
}

void BusUnits::add(int id) {
    const std::lock_guard lock(m_mutex);
    m_units[id];
}

void BusUnits::remove(int id) {
    const std::lock_guard lock(m_mutex);
    m_units.erase(id);
}

void BusUnits::set(int id, Space space, int address, const Words& words) {
    const std::lock_guard lock(m_mutex);
    auto& all = m_units[id].words[space];
    for (const std::uint16_t word : words)
        all[address++] = word;
}

void BusUnits::order(int id, const FaultOrder& order) {
    const std::lock_guard lock(m_mutex);
    m_units[id].orders.push_back(order);
}

void BusUnits::recover(int id) {
    const std::lock_guard lock(m_mutex);
    m_units[id].orders.clear();
}

} // namespace house
