#pragma once

#include "inspector/input/document.h"
#include "inspector/input/installation.h"
#include "inspector/input/sources.h"
#include "inspector/output/finding.h"

#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// The documents, what the daemon would take of them, and all that was found.
class Inspection {
public:
    explicit Inspection(Texts texts);

    const Installation& installation() const { return m_installation; }
    /// Document by document, in the order of their places.
    const Findings& findings() const { return m_findings; }
    const std::vector<Document>& documents() const { return m_documents; }

private:
    void read(const DocumentKind& kind, std::optional<std::string> text, auto& part, auto reader);
    void addFindings(Document& document, Findings& checks);

    std::vector<Document> m_documents = {};
    Installation m_installation = {};
    Findings m_unplaced = {};
    Findings m_findings = {};
};

} // namespace inspector
