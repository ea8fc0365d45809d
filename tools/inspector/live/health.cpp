#include "inspector/live/health.h"

#include <algorithm>

namespace inspector {
namespace {

bool isInLastPoll(const RegisterFailure& failure, const Home& home) {
    return failure.longestRun && failure.poll == home.polls;
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

} // namespace inspector
