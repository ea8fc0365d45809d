#pragma once

#include "model/modbus.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// What the words of a Modbus register stand for. A word is the content of one 16-bit register in
// the byte order of this machine, as the Modbus library hands it out; of a value that takes several
// words the most significant one comes first. No scale is applied and nothing is logged or thrown.
// The caller answers for the length of the buffer: nothing here knows it.

namespace orv::modbusreader {

/// Room for the words of one read, more than the library ever reads at once.
using RegisterBuffer = std::array<std::uint16_t, 255>;

/// Number of 16-bit registers that one value of @p type takes on the bus. `dateTime` counts two
/// although it is never decoded; `ascii` counts one, which are two characters.
int dataCountMultiplier(vxModel::ModbusDataType type);

/// The unsigned number in two words.
std::uint32_t unsigned32(const std::uint16_t* words);

/// The number of @p type that @p words begin with: one word for `uint16`, two for the types of 32
/// bits, four for those of 64. Single precision is all that a caller gets, so a large number loses
/// its low digits. `float32` is taken bit by bit and may be a NaN or an infinity. Nothing for a
/// type that has no number or isn't decoded: `none`, `int16`, `ascii`, `bitmap` and `dateTime`.
std::optional<float> decodeNumber(const std::uint16_t* words, vxModel::ModbusDataType type);

/// The characters in @p length words, two in each, the high byte first. Zero bytes are left out,
/// wherever they stand; all others are taken as they are, whatever encoding they have.
std::string decodeText(const std::uint16_t* words, std::size_t length);

/// The words of @p buffer in decimal, a blank in front of each. Only the first @p used ones are
/// looked at; the others must be zero.
std::string wordsText(const RegisterBuffer& buffer, std::size_t used);

} // namespace orv::modbusreader
