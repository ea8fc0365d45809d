#include "inspector/solver/places.h"

#include <algorithm>
#include <limits>

namespace inspector {
namespace {

using Blocks = WordSpaces::Blocks;

const Blocks& blocksOf(const Reading& reading, bool isInput) {
    return isInput ? reading.words.input : reading.words.holding;
}

/// The words from @p address on; empty if they aren't known.
std::span<const std::uint16_t> wordsAt(const Blocks& blocks, int address) {
    auto block = blocks.upper_bound(address);
    if (block == blocks.begin())
        return {};
    --block;
    const std::span<const std::uint16_t> words(block->second);
    const auto offset = static_cast<std::size_t>(address - block->first);
    return words.subspan(std::min(offset, words.size()));
}

/// Whether all readings have words there, cut to as many as each has.
bool fill(Place& place, const Readings& readings) {
    std::size_t least = std::numeric_limits<std::size_t>::max();
    for (std::size_t i = 0; i < readings.size(); ++i) {
        place.words[i] = wordsAt(blocksOf(readings[i], place.isInput), place.address);
        least = std::min(least, place.words[i].size());
    }
    for (auto& words : place.words)
        words = words.first(least);
    return least > 0;
}

} // namespace

void forEachPlace(const Readings& readings, const std::function<void(const Place&)>& look) {
    for (const bool isInput : {true, false}) {
        Place place{.isInput = isInput};
        place.words.resize(readings.size());
        for (const auto& [address, words] : blocksOf(readings.front(), isInput)) {
            for (std::size_t i = 0; i < words.size(); ++i) {
                place.address = static_cast<std::uint16_t>(address + static_cast<int>(i));
                if (fill(place, readings))
                    look(place);
            }
        }
    }
}

std::size_t countOfWords(const Readings& readings) {
    std::size_t count = 0;
    for (const bool isInput : {true, false})
        for (const auto& [address, words] : blocksOf(readings.back(), isInput))
            count += words.size();
    return count;
}

} // namespace inspector
