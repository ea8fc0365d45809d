#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// A value of a JSON text that knows its place in it. Unlike in the daemon's own tree, keys that
/// stand twice are both there.
struct JsonNode {
    enum class Kind { null, flag, number, text, list, object };

    /// A member of an object by its last key of that name, which is the one that counts; null if
    /// there is none, or this is no object.
    const JsonNode* member(std::string_view name) const;

    Kind kind = Kind::null;
    /// Offsets in the text, the second one behind the value.
    std::size_t begin = 0;
    std::size_t end = 0;
    /// Of a member of an object, without escapes; and the offset of its quote.
    std::string key = {};
    std::size_t keyBegin = 0;
    /// Of a list or an object, in order.
    std::vector<JsonNode> children = {};
};

/// What makes a text none of JSON, and where.
struct JsonFault {
    std::string reason;
    std::size_t offset = 0;
};

/// The tree of the first value of @p text, by the letter of RFC 8259; what stands behind it is left
/// alone. Throws `JsonFault`.
JsonNode parseJson(std::string_view text);

/// That of a value by itself, whose offsets count from the start of @p text all the same.
JsonNode parseJsonAt(std::string_view text, std::size_t begin, std::size_t end);

} // namespace inspector
