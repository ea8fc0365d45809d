#pragma once

#include "inspector/input/installation.h"
#include "inspector/output/finding.h"

namespace inspector {

/// What the daemon will make of an installation, and an installer might not expect. Each of the
/// checks of this room, which look at the parts that are there.
Findings checkInstallation(const Installation& installation);

/// The registers of each model one by one: what is asked of the meter, and what becomes of it.
void checkRegisters(const Installation& installation, Findings& findings);

/// The registers of each model beside one another.
void checkModels(const Installation& installation, Findings& findings);

} // namespace inspector
