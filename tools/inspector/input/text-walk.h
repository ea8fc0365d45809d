#pragma once

#include "inspector/daemon/shape.h"
#include "inspector/input/json-tree.h"
#include "inspector/output/finding.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace inspector {

/// A value in a text.
struct TextRange {
    std::size_t begin = 0;
    /// Behind it.
    std::size_t end = 0;
};

/// What one walk through a JSON text tells: where its parts stand, and what the daemon passes over
/// in silence.
struct TextWalk {
    /// What the document is about: the value of "data", or all of it without an envelope.
    struct Content {
        JsonNode::Kind kind = JsonNode::Kind::null;
        TextRange range = {};
        /// Of a list.
        std::vector<TextRange> elements = {};
    };

    std::optional<Content> content = std::nullopt;
    JsonNode::Kind rootKind = JsonNode::Kind::null;
    TextRange root = {};
    /// Keys, names and numbers that it takes otherwise than they look.
    Findings findings = {};
};

/// What numbers a text may have.
enum class Letter {
    ofJson,
    /// As the daemon's parser writes them: infinite ones and none at all too.
    ofDaemon,
};

/// Walks through the first value of @p text by the letter of RFC 8259. @p shape is that of the
/// whole value. Throws `JsonFault`, also for a text that nests deeper than the daemon's parser
/// goes.
TextWalk walkText(std::string_view text, const Shape& shape, bool hasEnvelope,
                  std::string_view document, Letter letter);

} // namespace inspector
