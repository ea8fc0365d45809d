#include "inspector/live/answers.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace inspector {
namespace {

bool isNoAnswer(std::string_view kind) {
    constexpr std::array<std::string_view, 8> kinds = {
        "timeout",          "no-connection", "not-set-up",   "port-gone",
        "connection-reset", "broken-pipe",   "gateway-path", "gateway-target"};
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

} // namespace

bool isInPoll(const RegisterFailure& failure, std::optional<std::size_t> poll) {
    return failure.longestRun && failure.poll == poll;
}

bool gaveNoAnswer(const Meter& meter, std::optional<std::size_t> poll) {
    bool hasFailed = false;
    for (const auto& [place, failure] : meter.failures) {
        if (!isInPoll(failure, poll))
            continue;
        if (!isNoAnswer(place.kind))
            return false;
        hasFailed = true;
    }
    return hasFailed;
}

} // namespace inspector
