#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// The formats that have a schema.
const std::vector<std::string_view>& formats();

/// JSON Schema (draft 2020-12) of a format, from the daemon's own records. Of the message it allows
/// what the daemon sends. Of what the daemon reads it allows what it reads as it stands: neither
/// what fails, nor what becomes zero or is cut without a word, as an unknown name of an enumeration
/// or the text "12abc" for a number. A name that isn't one of `formats` throws `std::out_of_range`.
std::string schemaOf(std::string_view format);

} // namespace inspector
