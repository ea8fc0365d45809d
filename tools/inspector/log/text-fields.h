#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// What lines of the log are made of: "key:value" pairs, records as the daemon writes them, and
// JSON.

namespace inspector {

/// What stands in @p text behind @p key, up to its end; nothing if the key isn't there.
std::optional<std::string_view> behind(std::string_view text, std::string_view key);

/// What stands behind @p key up to the first of @p ends, which is left out; or up to the end.
std::optional<std::string_view> between(std::string_view text, std::string_view key,
                                        std::string_view end);

/// The whole number behind @p key.
std::optional<std::int64_t> wholeBehind(std::string_view text, std::string_view key);
/// The number behind @p key.
std::optional<double> numberBehind(std::string_view text, std::string_view key);

/// Whether all of @p line fits @p pattern, in which "…" stands for anything.
bool fitsPattern(std::string_view line, std::string_view pattern);

} // namespace inspector
