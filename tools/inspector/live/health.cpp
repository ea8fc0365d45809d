#include "inspector/live/health.h"

#include "inspector/live/answers.h"

#include <algorithm>

namespace inspector {
namespace {

/// Whether the last poll showed nothing of a meter but that it gave no answer.
bool isWithoutAnswer(const HomeView& view, std::size_t meter) {
    return gaveNoAnswer(view.home.meters[meter], view.home.polls) &&
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
                    [&](const auto& failure) { return isInPoll(failure.second, view.home.polls); }))
        return Health::failing;
    return x.last ? Health::good : Health::unknown;
}

Health healthOfReader(const HomeView& view) {
    if (!view.lastPoll)
        return Health::unknown;
    return view.now - *view.lastPoll > longestAge(view) ? Health::silent : Health::good;
}

} // namespace inspector
