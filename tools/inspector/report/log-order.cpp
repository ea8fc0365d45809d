#include "inspector/report/log-order.h"

#include "inspector/log/log-reader.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <utility>

namespace inspector {
namespace {

bool canBeReadTwice(const std::string& name) {
    std::error_code error;
    return name != "-" && std::filesystem::is_regular_file(name, error);
}

/// Ahead of all others if no line has a time.
std::int64_t firstTimeOf(const std::string& name) {
    const std::unique_ptr<Source> source = openLog(name);
    LogReader reader(*source);
    for (Line line; reader.next(line);)
        if (line.kind == LineKind::log)
            return line.time;
    return std::numeric_limits<std::int64_t>::min();
}

} // namespace

std::vector<std::string> inOrder(std::vector<std::string> logs) {
    if (logs.size() < 2 || !std::all_of(logs.begin(), logs.end(), canBeReadTwice))
        return logs;
    std::vector<std::pair<std::int64_t, std::string>> byTime;
    byTime.reserve(logs.size());
    for (std::string& name : logs)
        byTime.emplace_back(firstTimeOf(name), std::move(name));
    std::stable_sort(byTime.begin(), byTime.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::transform(byTime.begin(), byTime.end(), logs.begin(),
                   [](auto& x) { return std::move(x.second); });
    return logs;
}

} // namespace inspector
