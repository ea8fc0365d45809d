#include "inspector/report/log-order.h"

#include "inspector/log/log-reader.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <optional>
#include <utility>

namespace inspector {
namespace {

bool canBeReadTwice(const std::string& name) {
    std::error_code error;
    return name != "-" && std::filesystem::is_regular_file(name, error);
}

/// Unset if none is found soon. A controller that starts without a clock begins in 1970.
std::optional<std::int64_t> firstTimeOf(const std::string& name) {
    constexpr std::int64_t yearOfClocks = 1577836800000; // 2020
    constexpr std::size_t mostLines = 100000;
    const std::unique_ptr<Source> source = openLog(name);
    LogReader reader(*source);
    for (Line line; reader.counts().lines < mostLines && reader.next(line);)
        if (line.kind == LineKind::log && line.time >= yearOfClocks)
            return line.time;
    return std::nullopt;
}

} // namespace

std::vector<std::string> inOrder(std::vector<std::string> logs) {
    if (logs.size() < 2 || !std::all_of(logs.begin(), logs.end(), canBeReadTwice))
        return logs;
    std::vector<std::pair<std::int64_t, std::string>> byTime;
    byTime.reserve(logs.size());
    std::int64_t time = std::numeric_limits<std::int64_t>::min();
    for (std::string& name : logs) {
        time = firstTimeOf(name).value_or(time);
        byTime.emplace_back(time, std::move(name));
    }
    std::stable_sort(byTime.begin(), byTime.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::transform(byTime.begin(), byTime.end(), logs.begin(),
                   [](auto& x) { return std::move(x.second); });
    return logs;
}

} // namespace inspector
