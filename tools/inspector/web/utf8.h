#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace inspector {

/// The first @p longest characters of a text, in which bytes that are not UTF-8 are replaced by
/// U+FFFD.
std::string utf8Start(std::string_view text, std::size_t longest = static_cast<std::size_t>(-1));

} // namespace inspector
