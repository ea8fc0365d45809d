#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace inspector {

/// Words that were read from a meter, in blocks by the address of their first one.
struct WordSpaces {
    using Blocks = std::map<int, std::vector<std::uint16_t>>;

    Blocks holding = {};
    Blocks input = {};
};

/// Reads `{"holding":{"0":[12,13]},"input":{"100":[0]}}`. Blocks that overlap or touch are one,
/// and of a word that stands twice the later one counts. Throws `UnreadableInput` with @p name for
/// any other text.
WordSpaces readWordSpaces(const std::string& text, const std::string& name);

/// What `readWordSpaces` reads.
std::string toJson(const WordSpaces& spaces);

} // namespace inspector
