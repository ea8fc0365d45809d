#pragma once

#include <string>
#include <vector>

namespace inspector {

/// The settings of the log that the operator's page names.
extern const std::vector<std::string> logSettings;

/// The log, at VX_LOG=D, of a daemon in the home of two meters that stands in tools/house/home.md,
/// up to the begin of poll @p polls + 1; an answer may take a second. @p options are of
/// modbus-house. Runs in a private world.
std::string logOfHouse(const std::vector<std::string>& options, std::size_t polls = 3);

/// The log of such a daemon at another setting, with the messages of some polls.
std::string logAtSetting(const std::vector<std::string>& options, const std::string& setting,
                         std::size_t messages);

/// What of that log another setting leaves.
std::string atSetting(const std::string& log, const std::string& setting);

} // namespace inspector
