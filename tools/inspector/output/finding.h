#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

enum class Severity {
    /// Never works.
    error,
    /// Works otherwise than it looks.
    warning,
    hint,
};

std::string_view nameOf(Severity severity);

/// What an installer should know of a value.
struct Finding {
    static constexpr std::size_t unknown = static_cast<std::size_t>(-1);

    bool operator==(const Finding&) const = default;

    /// Stable, for scripts.
    std::string_view name;
    Severity severity = Severity::error;
    /// "supported", "attached", "serial" or "config".
    std::string_view document;
    /// A JSON pointer (RFC 6901) to the value, or to where it would stand.
    std::string path;
    /// What the daemon does, and what to do about it: a sentence each.
    std::string message;
    std::string remedy;
    /// In the text of the document; that of the path if it is unknown.
    std::size_t offset = unknown;
    /// From 1; 0 if unknown.
    std::size_t line = 0;
    std::size_t column = 0;
};

using Findings = std::vector<Finding>;

/// Adds findings of one document.
class Reporter {
public:
    Reporter(std::string_view document, Findings& findings)
        : m_document(document), m_findings(findings) {}

    void operator()(std::string_view name, Severity severity, std::string path, std::string message,
                    std::string remedy) const;

private:
    std::string_view m_document;
    Findings& m_findings;
};

/// The text between double quotes.
std::string quoted(std::string_view text);

} // namespace inspector
