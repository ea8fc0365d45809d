#pragma once

#include <cstddef>
#include <string>

#include "house/modbus-slave.h"

namespace house {

bool isDataType(const std::string& name);

/// Number of words that a register occupies: @p length elements of the data type named
/// @p dataType. Throws `std::runtime_error` for a name that is no data type.
std::size_t wordCount(const std::string& dataType, int length);

/// The words of a number, the most significant word first, in the first element; further elements
/// stay zero. Whole-numbered types round and keep to their range. `float32` is IEEE single
/// precision, `dateTime` a number of seconds in 32 bits; `bitmap`, `ascii` and `none` take 16 bits.
Words encodeNumber(const std::string& dataType, int length, double number);

/// The words of a text, two characters each, high byte first, filled up with zero bytes and cut at
/// @p length words.
Words encodeText(int length, const std::string& text);

} // namespace house
