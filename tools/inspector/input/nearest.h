#pragma once

#include <string_view>
#include <vector>

namespace inspector {

/// The one of @p known, of which there is one at least, that @p text most likely was meant to be.
std::string_view nearest(std::string_view text, const std::vector<std::string_view>& known);

} // namespace inspector
