#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace inspector {

/// The text with U+FFFD in the place of each byte that is no part of UTF-8; its first @p most
/// characters.
std::string utf8Of(std::string_view text, std::size_t most = static_cast<std::size_t>(-1));

/// The first @p columns columns of a text on a terminal, filled up with blanks. What would move the
/// cursor becomes a question mark.
std::string inColumns(std::string_view text, std::size_t columns);

/// What of a text from elsewhere may reach a terminal: control characters stand as "\u001b", and
/// bytes that are no part of UTF-8 as "\xff".
std::string shownText(std::string_view text);

/// Whether `shownText` leaves the text as it is, and it is ASCII.
bool isPlain(std::string_view text);

} // namespace inspector
