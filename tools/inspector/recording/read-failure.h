#pragma once

#include <string>
#include <string_view>

namespace inspector {

/// Whether a read that the daemon could not do for the reason @p words was a request at all.
bool goesOverTheBus(std::string_view words);

/// How the house lets the read of unit @p unit fail for this reason, as JSON.
std::string failureOf(std::string_view words, int unit);

} // namespace inspector
