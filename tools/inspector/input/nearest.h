#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace inspector {

/// The one of @p known that @p text most likely was meant to be; nothing if none is near.
std::optional<std::string_view> nearest(std::string_view text,
                                        const std::vector<std::string_view>& known);

} // namespace inspector
