#include "inspector/map/map-command.h"

#include "inspector/budget/poll-budget.h"
#include "inspector/input/document.h"
#include "inspector/map/checks.h"
#include "inspector/map/map-report.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>
#include <utility>

namespace inspector {
namespace {

/// The documents, what the daemon would take of them, and all that was found.
class Inspection {
public:
    explicit Inspection(Texts texts) {
        read(supportedKind(), std::move(texts.supported), installation.models, readModels);
        read(attachedKind(), std::move(texts.attached), installation.meters, readMeters);
        read(serialKind(), std::move(texts.serial), installation.serial, readSerial);
        read(configKind(), std::move(texts.config), installation.config, readConfig);
        addChecks();
        for (const Document& document : m_documents)
            addFindings(document);
    }

    Installation installation;
    Findings findings;

private:
    void read(const DocumentKind& kind, std::optional<std::string> text, auto& part, auto reader) {
        if (!text)
            return;
        const Document& document = m_documents.emplace_back(kind, std::move(*text));
        part = reader(document, m_unplaced);
    }

    /// What follows from a name that isn't known needn't be told again.
    void addChecks() {
        std::set<std::string> unknown;
        for (const Document& document : m_documents)
            for (const Finding& finding : document.findings())
                if (finding.name == "unknown-name" && document.name() == "supported")
                    unknown.insert(finding.path);
        Findings checks = checkInstallation(installation);
        std::erase_if(checks, [&](const Finding& x) {
            return x.name == "no-decoder" && unknown.contains(x.path);
        });
        std::move(checks.begin(), checks.end(), std::back_inserter(m_unplaced));
    }

    /// Moves them, as there may be very many.
    void addFindings(const Document& document) {
        Findings own = document.findings();
        const auto others =
            std::stable_partition(m_unplaced.begin(), m_unplaced.end(),
                                  [&](const Finding& x) { return x.document != document.name(); });
        std::move(others, m_unplaced.end(), std::back_inserter(own));
        m_unplaced.erase(others, m_unplaced.end());
        document.place(own);
        std::stable_sort(own.begin(), own.end(), [](const Finding& a, const Finding& b) {
            return std::pair(a.line, a.column) < std::pair(b.line, b.column);
        });
        std::move(own.begin(), own.end(), std::back_inserter(findings));
    }

    std::vector<Document> m_documents = [] {
        constexpr std::size_t documents = 4;
        std::vector<Document> none;
        none.reserve(documents);
        return none;
    }();
    Findings m_unplaced;
};

} // namespace

int runMap(const MapOptions& options) {
    const Inspection inspection(readTexts(options.sources));
    const auto& [installation, findings] = std::tie(inspection.installation, inspection.findings);
    if (options.json) {
        JsonOutput output(stdout);
        writeMap(output, installation, findings, budgetOf(installation));
    } else {
        Terminal terminal(stdout);
        printModels(terminal, installation);
        printFindings(terminal, findings);
        if (options.budget)
            printBudget(terminal, budgetOf(installation));
    }
    return findings.empty() ? 0 : 1;
}

} // namespace inspector
