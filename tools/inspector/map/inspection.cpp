#include "inspector/map/inspection.h"

#include "inspector/map/checks.h"
#include "inspector/map/consequences.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace inspector {

Inspection::Inspection(Texts texts) {
    const bool hasSerial = texts.serial.has_value();
    const bool hasConfig = texts.config.has_value();
    read(supportedKind(), std::move(texts.supported), m_installation.models, readModels);
    if (m_installation.models)
        m_installation.idsOfBrokenModels = idsOfBroken(m_documents.front(), *m_installation.models);
    read(attachedKind(), std::move(texts.attached), m_installation.meters, readMeters);
    read(serialKind(), std::move(texts.serial), m_installation.serial, readSerial);
    m_installation.isSerialBroken = hasSerial && !m_installation.serial;
    read(configKind(), std::move(texts.config), m_installation.config, readConfig);
    m_installation.isConfigBroken = hasConfig && !m_installation.config;
    Findings checks = checkInstallation(m_installation);
    for (Document& document : m_documents)
        addFindings(document, checks);
}

void Inspection::read(const DocumentKind& kind, std::optional<std::string> text, auto& part,
                      auto reader) {
    if (!text)
        return;
    const Document& document = m_documents.emplace_back(kind, std::move(*text));
    part = reader(document, m_unplaced);
}

/// Moves them, as there may be very many.
void Inspection::addFindings(Document& document, Findings& checks) {
    Findings own = document.takeFindings();
    dropConsequences(own, checks);
    if (isTcp(m_installation))
        easeSerialNames(own, Severity::hint, "over TCP nothing depends on it");
    else if (m_installation.isConfigBroken)
        easeSerialNames(own, Severity::warning, "on a serial line all reads fail");
    dropOfUnread(checks, own);
    for (Findings* findings : {&m_unplaced, &checks}) {
        const auto others =
            std::stable_partition(findings->begin(), findings->end(),
                                  [&](const Finding& x) { return x.document != document.name(); });
        std::move(others, findings->end(), std::back_inserter(own));
        findings->erase(others, findings->end());
    }
    document.place(own);
    std::stable_sort(own.begin(), own.end(), [](const Finding& a, const Finding& b) {
        return std::pair(a.line, a.column) < std::pair(b.line, b.column);
    });
    std::move(own.begin(), own.end(), std::back_inserter(m_findings));
}

} // namespace inspector
