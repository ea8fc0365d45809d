// The words of a meter in a file: each stands in the text, and they are written and read back to
// themselves.

#include "fuzz.h"

#include "inspector/input/json-tree.h"
#include "inspector/input/sources.h"
#include "inspector/solver/word-spaces.h"

#include <cstdlib>
#include <map>

using namespace inspector;

namespace {

using Words = std::map<int, long>;

/// Those of a space, by address.
Words plainWords(const std::string& text, const std::string& name) {
    Words words;
    for (const JsonNode& space : parseJson(text).children) {
        if (space.key != name)
            continue;
        for (const JsonNode& block : space.children)
            for (std::size_t i = 0; i < block.children.size(); ++i)
                words[std::atoi(block.key.c_str()) + static_cast<int>(i)] =
                    std::strtol(text.c_str() + block.children[i].begin, nullptr, 10);
    }
    return words;
}

/// Between two blocks a word is missing at least.
Words wordsOf(const WordSpaces::Blocks& blocks) {
    Words words;
    for (const auto& [address, block] : blocks) {
        const bool isApart = !words.contains(address - 1);
        const bool isFilled = !block.empty();
        VX_ASSERT(isApart && isFilled);
        for (std::size_t i = 0; i < block.size(); ++i)
            words[address + static_cast<int>(i)] = block[i];
    }
    return words;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    const std::string text = fuzz::textOf(data, size);
    WordSpaces spaces;
    try {
        spaces = readWordSpaces(text, "words");
    } catch (const UnreadableInput& e) {
        VX_ASSERT(std::string(e.what()).starts_with("words:"), e.what());
        return 0;
    }
    VX_ASSERT(wordsOf(spaces.holding) == plainWords(text, "holding"));
    VX_ASSERT(wordsOf(spaces.input) == plainWords(text, "input"));
    const WordSpaces again = readWordSpaces(toJson(spaces), "written");
    VX_ASSERT(again.holding == spaces.holding && again.input == spaces.input);
    return 0;
}
