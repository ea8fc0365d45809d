#include "inspector/input/places.h"

#include "inspector/input/pointer.h"

#include <algorithm>
#include <numeric>

namespace inspector {
namespace {

/// Child that one token of a pointer leads to, or null.
const JsonNode* childOf(const JsonNode& node, const std::string& token) {
    if (node.kind == JsonNode::Kind::object)
        return node.member(token);
    const std::size_t index = indexOf(token);
    return index < node.children.size() ? &node.children[index] : nullptr;
}

} // namespace

TextPlace placeOf(std::string_view text, std::size_t offset) {
    const std::string_view ahead = text.substr(0, offset);
    const std::size_t lineEnd = ahead.rfind('\n');
    const std::string_view line =
        lineEnd == std::string_view::npos ? ahead : ahead.substr(lineEnd + 1);
    const auto isFirstByte = [](char c) { return (c & 0xC0) != 0x80; };
    return {1 + static_cast<std::size_t>(std::count(ahead.begin(), ahead.end(), '\n')),
            1 + static_cast<std::size_t>(std::count_if(line.begin(), line.end(), isFirstByte))};
}

std::vector<TextPlace> placesOf(std::string_view text, const std::vector<std::size_t>& offsets) {
    std::vector<std::size_t> order(offsets.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return offsets[a] < offsets[b]; });
    std::vector<TextPlace> places(offsets.size());
    TextPlace place;
    std::size_t done = 0;
    for (const std::size_t i : order) {
        const std::string_view between = text.substr(done, offsets[i] - done);
        const TextPlace step = placeOf(between, between.size());
        place.column = step.line == 1 ? place.column + step.column - 1 : step.column;
        place.line += step.line - 1;
        done = offsets[i];
        places[i] = place;
    }
    return places;
}

ValueFinder::ValueFinder(std::string_view text, const TextWalk& walk, std::string_view content)
    : m_text(text), m_walk(walk), m_contentDepth(tokensOf(content).size()) {}

std::size_t ValueFinder::offsetOf(std::string_view pointer) {
    const Tokens tokens = tokensOf(pointer);
    // All of a large text, or nearly so, is known without a tree of it.
    if (tokens.empty() || !m_walk.content)
        return m_walk.root.begin;
    if (tokens.size() == m_contentDepth)
        return m_walk.content->range.begin;
    const std::optional<std::size_t> element = elementOf(tokens);
    const JsonNode* node = &parsed(element);
    for (std::size_t i = element ? m_contentDepth + 1 : 0; i < tokens.size(); ++i) {
        const JsonNode* child = childOf(*node, tokens[i]);
        if (child == nullptr)
            break;
        node = child;
    }
    return node->begin;
}

/// The one that a pointer leads into, if the content is a list.
std::optional<std::size_t> ValueFinder::elementOf(const Tokens& tokens) const {
    if (tokens.size() <= m_contentDepth)
        return std::nullopt;
    const std::size_t index = indexOf(tokens[m_contentDepth]);
    return index < m_walk.content->elements.size() ? std::optional(index) : std::nullopt;
}

const JsonNode& ValueFinder::parsed(std::optional<std::size_t> element) {
    if (!m_root || m_element != element) {
        const TextRange range = element ? m_walk.content->elements[*element] : m_walk.root;
        m_root = parseJsonAt(m_text, range.begin, range.end);
        m_element = element;
    }
    return *m_root;
}

} // namespace inspector
