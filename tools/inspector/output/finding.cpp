#include "inspector/output/finding.h"

#include <utility>

namespace inspector {

std::string_view nameOf(Severity severity) {
    switch (severity) {
    case Severity::error:
        return "error";
    case Severity::warning:
        return "warning";
    case Severity::hint:
        break;
    }
    return "hint";
}

void Reporter::operator()(std::string_view name, Severity severity, std::string path,
                          std::string message, std::string remedy) const {
    m_findings.push_back({.name = name,
                          .severity = severity,
                          .document = m_document,
                          .path = std::move(path),
                          .message = std::move(message),
                          .remedy = std::move(remedy)});
}

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

} // namespace inspector
