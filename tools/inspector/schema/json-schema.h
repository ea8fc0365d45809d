#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// The formats that have a schema.
const std::vector<std::string_view>& formats();

/// JSON Schema (draft 2020-12) of a format, from the daemon's own records: what it takes, or for
/// the message what it sends. A name that isn't one of `formats` throws `std::out_of_range`.
std::string schemaOf(std::string_view format);

} // namespace inspector
