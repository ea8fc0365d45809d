#pragma once

#include <cstdint>
#include <string>

namespace inspector {

/// Regular expression of the texts that the daemon reads as the whole number that they show, from
/// @p least, which is not above 0, to @p most. For the dialect of JSON Schema.
std::string wholeNumberPattern(std::int64_t least, std::int64_t most);

/// The same of any number, without those of C alone: hexadecimal, infinite, none.
std::string numberPattern();

} // namespace inspector
