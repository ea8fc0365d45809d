#pragma once

#include <string>

namespace orv {

/// Decimal text of @p value, or "0x" and hexadecimal digits.
std::string intToString(long long value, bool hex);

} // namespace orv
