#pragma once

#include "inspector/log/time-span.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

struct ReportOptions {
    /// "-" is standard input.
    std::vector<std::string> logs = {};
    TimeSpan span = {};
    std::optional<std::string> meter = std::nullopt;
    bool json = false;
    bool html = false;
};

/// Prints what logs tell of a home. Returns 1 if anything needs a person. Throws `UnreadableInput`.
int runReport(const ReportOptions& options);

/// "2026-11-22", "2026-11-22 18:00[:30]", with a "T" for the blank and a zone behind it if one
/// likes, or
/// "-1h", of days (d), hours (h), minutes (min, m) or seconds (s). Nothing for any other text.
std::optional<std::int64_t> momentOfOption(const std::string& text);

} // namespace inspector
