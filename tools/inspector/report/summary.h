#pragma once

#include "inspector/home/diagnostics.h"
#include "inspector/home/home.h"

#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// Something that a person may have to look at.
struct Notice {
    /// Keys of docs/diagnostics.json.
    std::string key;
    std::string reason = {};
    /// It goes on, or was never taken back.
    bool needsPerson = true;
    /// Its place among those of the home.
    std::optional<std::size_t> meter = std::nullopt;
    Occurrences seen = {};
    /// Which one it is, or where.
    std::string subject = {};
    Explanation explanation = {};
};

/// What is not in a log, and the rules of the log that would show it.
struct Unknown {
    std::string what;
    /// Empty if no rules do.
    std::string rules;
};

/// What a home needs, made of what is known of it.
struct Summary {
    std::vector<Notice> notices = {};
    std::vector<Unknown> unknown = {};
    /// The least that a poll takes by the map, in seconds.
    std::optional<double> leastSeconds = std::nullopt;

    bool needsPerson() const;
};

std::vector<Notice> noticesOf(const Home& home);
std::vector<Unknown> unknownOf(const Home& home);
std::string sentenceOf(const Unknown& unknown);
Summary summaryOf(const Home& home);

/// Both.
Occurrences together(const Occurrences& a, const Occurrences& b);

/// How often the reader was started anew; unset where a start may have left no line.
std::optional<std::size_t> restartsOf(const Home& home);

} // namespace inspector
