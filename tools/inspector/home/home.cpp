#include "inspector/home/home.h"

#include <set>

namespace inspector {

bool isNewer(const Meter& meter, const Meter& other) {
    return meter.last && (!other.last || meter.last->time > other.last->time);
}

std::vector<std::size_t> presentMeters(const Home& home) {
    std::map<int, std::size_t> byAddress;
    std::set<int> attached;
    for (std::size_t i = 0; i < home.meters.size(); ++i) {
        const Meter& meter = home.meters[i];
        if (!meter.slaveAddress)
            continue;
        if (meter.isAttached)
            attached.insert(*meter.slaveAddress);
        const auto [entry, isNew] = byAddress.emplace(*meter.slaveAddress, i);
        if (!isNew && isNewer(meter, home.meters[entry->second]))
            entry->second = i;
    }
    std::vector<std::size_t> places;
    for (const auto& [address, place] : byAddress)
        if (home.attachedReply.empty() || attached.contains(address))
            places.push_back(place);
    return places;
}

} // namespace inspector
