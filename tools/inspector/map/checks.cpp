#include "inspector/map/checks.h"

#include "inspector/map/meter-checks.h"
#include "inspector/map/port-checks.h"

namespace inspector {

Findings checkInstallation(const Installation& installation) {
    Findings findings;
    checkRegisters(installation, findings);
    checkModels(installation, findings);
    checkMeters(installation, findings);
    checkPort(installation, findings);
    return findings;
}

} // namespace inspector
