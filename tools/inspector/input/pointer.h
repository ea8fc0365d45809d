#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// A JSON pointer (RFC 6901) to a member of what @p pointer leads to.
std::string pointerTo(std::string_view pointer, std::string_view key);
std::string pointerTo(std::string_view pointer, std::integral auto index) {
    return pointerTo(pointer, std::to_string(index));
}

/// The keys and indexes of a pointer, without escapes.
std::vector<std::string> tokensOf(std::string_view pointer);

/// The index that a token stands for; a huge one if it is none.
std::size_t indexOf(const std::string& token);

} // namespace inspector
