#include "inspector/map/map-command.h"

#include "inspector/budget/poll-budget.h"
#include "inspector/map/inspection.h"
#include "inspector/map/map-report.h"

#include <cstdio>

namespace inspector {

int runMap(const MapOptions& options) {
    const Inspection inspection(readTexts(options.sources));
    const Installation& installation = inspection.installation();
    const Findings& findings = inspection.findings();
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
