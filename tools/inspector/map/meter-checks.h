#pragma once

#include "inspector/input/installation.h"
#include "inspector/output/finding.h"

namespace inspector {

/// The attached meters: their models, serials and addresses.
void checkMeters(const Installation& installation, Findings& findings);

} // namespace inspector
