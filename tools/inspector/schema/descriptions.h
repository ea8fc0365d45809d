#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// What a key of one of the formats says to who writes or reads it.
struct Description {
    /// Pointer with "*" for the index of a list; empty for the whole document.
    std::string_view path;
    std::string_view text;
    /// Empty for a value without one.
    std::string_view unit = {};
    /// The text that it always is; empty if it can be another.
    std::string_view constant = {};
};

/// Of the format with that name; each key once, and no other.
const std::vector<Description>& descriptionsOf(std::string_view format);

} // namespace inspector
