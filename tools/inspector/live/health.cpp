#include "inspector/live/health.h"

#include <algorithm>
#include <array>

namespace inspector {
namespace {

bool isInLastPoll(const RegisterFailure& failure, const Home& home) {
    return failure.longestRun && failure.poll == home.polls;
}

/// Whether the reason of a failure is that nothing came from the meter.
bool isNoAnswer(std::string_view kind) {
    constexpr std::array<std::string_view, 8> kinds = {
        "timeout",          "no-connection", "not-set-up",   "port-gone",
        "connection-reset", "broken-pipe",   "gateway-path", "gateway-target"};
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

/// Whether the last poll showed nothing of a meter but that it gave no answer.
bool isWithoutAnswer(const HomeView& view, std::size_t meter) {
    bool hasFailed = false;
    for (const auto& [kind, failure] : view.home.meters[meter].failures) {
        if (!isInLastPoll(failure, view.home))
            continue;
        if (!isNoAnswer(kind.kind))
            return false;
        hasFailed = true;
    }
    return hasFailed &&
           !(meter < view.courses.size() && view.courses[meter].isAnswerOf(view.home.polls));
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
    // A log that tells of a poll by its messages alone shows it when the next one is over.
    return std::max(minute, 4 * std::max<Moment>(lengths.last(), 0));
}

Health healthOf(const HomeView& view, std::size_t meter) {
    const Meter& x = view.home.meters[meter];
    if (isWithoutAnswer(view, meter) || (x.last && view.now - x.last->time > longestAge(view)))
        return Health::silent;
    if (std::any_of(x.failures.begin(), x.failures.end(),
                    [&](const auto& failure) { return isInLastPoll(failure.second, view.home); }))
        return Health::failing;
    return x.last ? Health::good : Health::unknown;
}

Health healthOfReader(const HomeView& view) {
    if (!view.lastPoll)
        return Health::unknown;
    return view.now - *view.lastPoll > longestAge(view) ? Health::silent : Health::good;
}

} // namespace inspector
