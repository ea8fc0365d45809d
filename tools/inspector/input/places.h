#pragma once

#include "inspector/input/json-tree.h"
#include "inspector/input/text-walk.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// Line and column of an offset, from 1; columns count characters.
struct TextPlace {
    std::size_t line = 1;
    std::size_t column = 1;
};
TextPlace placeOf(std::string_view text, std::size_t offset);

/// Those of many offsets, in one sweep, as a text may be one line of many megabytes.
std::vector<TextPlace> placesOf(std::string_view text, const std::vector<std::size_t>& offsets);

/// Finds values of a document in its text. Those of one element of a long list, which is parsed by
/// itself, are best asked for one behind the other.
class ValueFinder {
public:
    /// @p content leads to what the document is about.
    ValueFinder(std::string_view text, const TextWalk& walk, std::string_view content);

    /// Of the value, or of where the pointer ends.
    std::size_t offsetOf(std::string_view pointer);

private:
    using Tokens = std::vector<std::string>;

    std::optional<std::size_t> elementOf(const Tokens& tokens) const;
    const JsonNode& parsed(std::optional<std::size_t> element);

    std::string_view m_text;
    const TextWalk& m_walk;
    std::size_t m_contentDepth;
    std::optional<JsonNode> m_root = std::nullopt;
    /// The one of the content that is parsed; nothing for the whole text.
    std::optional<std::size_t> m_element = std::nullopt;
};

} // namespace inspector
