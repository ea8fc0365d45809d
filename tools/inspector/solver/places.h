#pragma once

#include "inspector/solver/reading.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace inspector {

/// Words from one address on, as they were at each reading.
struct Place {
    bool isInput = false;
    std::uint16_t address = 0;
    /// All that are known from there on; as many in each reading.
    std::vector<std::span<const std::uint16_t>> words = {};

    std::size_t size() const { return words.front().size(); }
    std::string_view space() const { return isInput ? "input" : "holding"; }
};

/// Calls @p look with each address that all readings have.
void forEachPlace(const Readings& readings, const std::function<void(const Place&)>& look);

/// How many words the last reading has.
std::size_t countOfWords(const Readings& readings);

} // namespace inspector
