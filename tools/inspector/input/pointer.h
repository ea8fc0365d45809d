#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace inspector {

/// A JSON pointer (RFC 6901) to a member of what @p pointer leads to.
std::string pointerTo(std::string_view pointer, std::string_view key);
std::string pointerTo(std::string_view pointer, std::integral auto index) {
    return pointerTo(pointer, std::to_string(index));
}

} // namespace inspector
