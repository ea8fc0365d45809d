#pragma once

#include <string>
#include <string_view>
#include <vector>

// What tests do with the lines of a log.

/// The lines that contain @p text.
std::vector<std::string> linesWith(const std::vector<std::string>& lines, std::string_view text);

/// The lines from the first that contains @p first up to the one before the next that contains
/// @p end.
std::vector<std::string> linesBetween(const std::vector<std::string>& lines, std::string_view first,
                                      std::string_view end);

/// Text of a message or an exception in which the numbers of source positions read `<line>`.
std::string withoutLineNumbers(const std::string& text);

/// Text in which the moment of a record reads `<time>`.
std::string withoutTime(const std::string& text);

/// A log line or text without what differs from run to run: numbers of source positions, moments of
/// records, expiries of the timer and milliseconds read `<line>`, `<time>`, `<seconds>`, `<ms>`.
std::string withoutRunningValues(const std::string& text);
