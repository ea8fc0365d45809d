#pragma once

#include "inspector/input/installation.h"
#include "inspector/output/finding.h"

namespace inspector {

/// The way to the bus: serial parameters and configuration file.
void checkPort(const Installation& installation, Findings& findings);

} // namespace inspector
