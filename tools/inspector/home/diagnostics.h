#pragma once

#include "inspector/log/line.h"

#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// An entry of docs/diagnostics.json, which also makes the tables of the documents.
struct Diagnostic {
    std::string key;
    std::string severity;
    std::string channel;
    /// The line, in which "…" stands for what varies; of a reason, its words.
    std::string line;
    /// Whole sentences.
    std::string meaning;
    std::string remedy;
    /// Headings of docs/operations.md.
    std::vector<std::string> see;
    std::vector<Diagnostic> reasons;
};

/// Warnings and errors of the daemon, and then what no warning tells.
const std::vector<Diagnostic>& diagnostics();

/// The entry of a key, or of one of its reasons; null if there is none.
const Diagnostic* findDiagnostic(std::string_view key, std::string_view reason = {});

/// What there is to say of a trouble.
struct Explanation {
    /// What it is, in a few words.
    std::string title = {};
    std::string meaning = {};
    std::string remedy = {};
    /// Headings of docs/operations.md.
    std::vector<std::string> see = {};

    /// The remedy, with the headings.
    std::string wholeRemedy() const;
};

/// That of a key and its reason, each of which may be unknown.
Explanation explanationOf(std::string_view key, std::string_view reason);

/// The entry that a line of the log belongs to; null if there is none.
const Diagnostic* diagnosticOf(const Line& line);

/// The reason whose words stand in a line; null if there is none.
const Diagnostic* reasonOf(const Diagnostic& entry, std::string_view words);

} // namespace inspector
