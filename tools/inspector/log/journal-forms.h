#pragma once

#include "inspector/log/source.h"

#include <memory>
#include <string_view>

namespace inspector {

/// The lines of @p lines without what journalctl puts around them, if it does.
std::unique_ptr<Source> withoutJournal(std::unique_ptr<InputLines> lines);

/// What stands behind "Nov 22 18:01:30 host modbus-reader[412]: ", of which there are forms with
/// other times; all of @p line if it doesn't begin so.
std::string_view withoutPrefix(std::string_view line);

} // namespace inspector
