#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What tests do with the lines of a log.

/// The lines that contain @p text.
std::vector<std::string> linesWith(const std::vector<std::string>& lines, std::string_view text);

/// The lines from the first that contains @p first up to the one before the next that contains
/// @p end.
std::vector<std::string> linesBetween(const std::vector<std::string>& lines, std::string_view first,
                                      std::string_view end);

/// Takes the wanted entries out of @p entries, and gives their texts.
template <class Entry, class Wanted>
std::vector<std::string> takeTexts(std::vector<Entry>& entries, const Wanted& isWanted) {
    const auto rest = std::stable_partition(entries.begin(), entries.end(), isWanted);
    std::vector<std::string> texts;
    for (auto entry = entries.begin(); entry != rest; ++entry)
        texts.push_back(std::move(entry->text));
    entries.erase(entries.begin(), rest);
    return texts;
}

/// Text of a message or an exception in which the numbers of source positions read `<line>`.
std::string withoutLineNumbers(const std::string& text);

/// Text in which the moment of a record reads `<time>`.
std::string withoutTime(const std::string& text);

/// A log line or text without what differs from run to run: numbers of source positions, moments of
/// records, expiries of the timer and milliseconds read `<line>`, `<time>`, `<seconds>`, `<ms>`.
std::string withoutRunningValues(const std::string& text);
