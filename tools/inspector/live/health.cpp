#include "inspector/live/health.h"

#include <algorithm>
#include <map>

namespace inspector {
namespace {

bool isInLastPoll(const RegisterFailure& failure, const Home& home) {
    return failure.longestRun && failure.poll == home.polls;
}

bool isNewer(const Meter& meter, const Meter& other) {
    return meter.last && (!other.last || meter.last->time > other.last->time);
}

} // namespace

std::string_view nameOf(Health health) {
    switch (health) {
    case Health::good:
        return "good";
    case Health::failing:
        return "failing";
    case Health::silent:
        return "silent";
    case Health::unknown:
        break;
    }
    return "unknown";
}

Moment longestAge(const HomeView& view) {
    constexpr Moment minute = 60000;
    const LengthHistogram& lengths = view.home.pollLengths;
    return std::max(minute, 3 * std::max<Moment>(lengths.last(), 0));
}

Health healthOf(const HomeView& view, std::size_t meter) {
    const Meter& x = view.home.meters[meter];
    bool isFailing = false;
    for (const auto& [kind, failure] : x.failures) {
        if (!isInLastPoll(failure, view.home))
            continue;
        if (kind.kind == "timeout")
            return Health::silent;
        isFailing = true;
    }
    if (x.last && view.now - x.last->time > longestAge(view))
        return Health::silent;
    if (isFailing)
        return Health::failing;
    return x.last ? Health::good : Health::unknown;
}

Health healthOfReader(const HomeView& view) {
    if (!view.lastPoll)
        return Health::unknown;
    return view.now - *view.lastPoll > longestAge(view) ? Health::silent : Health::good;
}

std::vector<std::size_t> presentMeters(const Home& home) {
    std::map<int, std::size_t> byAddress;
    for (std::size_t i = 0; i < home.meters.size(); ++i) {
        const Meter& meter = home.meters[i];
        if (!meter.slaveAddress || (!home.attachedReply.empty() && !meter.isAttached))
            continue;
        const auto [entry, isNew] = byAddress.emplace(*meter.slaveAddress, i);
        if (!isNew && isNewer(meter, home.meters[entry->second]))
            entry->second = i;
    }
    std::vector<std::size_t> places;
    for (const auto& [address, place] : byAddress)
        places.push_back(place);
    return places;
}

} // namespace inspector
