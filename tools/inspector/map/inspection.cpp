#include "inspector/map/inspection.h"

#include "inspector/map/checks.h"
#include "inspector/map/consequences.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace inspector {

Inspection::Inspection(Texts texts) {
    read(supportedKind(), std::move(texts.supported), m_installation.models, readModels);
    if (m_installation.models)
        m_installation.idsOfBrokenModels = idsOfBroken(m_documents.front(), *m_installation.models);
    read(attachedKind(), std::move(texts.attached), m_installation.meters, readMeters);
    read(serialKind(), std::move(texts.serial), m_installation.serial, readSerial);
    read(configKind(), std::move(texts.config), m_installation.config, readConfig);
    addChecks();
    for (Document& document : m_documents)
        addFindings(document);
}

void Inspection::read(const DocumentKind& kind, std::optional<std::string> text, auto& part,
                      auto reader) {
    if (!text)
        return;
    const Document& document = m_documents.emplace_back(kind, std::move(*text));
    part = reader(document, m_unplaced);
}

void Inspection::addChecks() {
    Findings checks = checkInstallation(m_installation);
    for (const Document& document : m_documents)
        dropConsequences(document.findings(), checks);
    std::move(checks.begin(), checks.end(), std::back_inserter(m_unplaced));
}

/// Moves them, as there may be very many.
void Inspection::addFindings(Document& document) {
    Findings own = document.takeFindings();
    if (isTcp(m_installation))
        easeOverTcp(own);
    dropOfUnread(m_unplaced, own);
    const auto others =
        std::stable_partition(m_unplaced.begin(), m_unplaced.end(),
                              [&](const Finding& x) { return x.document != document.name(); });
    std::move(others, m_unplaced.end(), std::back_inserter(own));
    m_unplaced.erase(others, m_unplaced.end());
    document.place(own);
    std::stable_sort(own.begin(), own.end(), [](const Finding& a, const Finding& b) {
        return std::pair(a.line, a.column) < std::pair(b.line, b.column);
    });
    std::move(own.begin(), own.end(), std::back_inserter(m_findings));
}

} // namespace inspector
