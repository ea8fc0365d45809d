#pragma once

#include "inspector/input/installation.h"

#include <vector>

namespace inspector {

/// Whether the list of attached meters gives the meter a serial, which then counts. A serial counts
/// for all meters of its address.
bool hasListedSerial(const vxModel::ModbusMeter& meter, const Installation::Meters& meters);

/// The attached meters of a model.
std::vector<const Placed<vxModel::ModbusMeter>*>
metersOf(const vxModel::ElectricityMeterConfig& model, const Installation::Meters& meters);

/// Whether some meter of the model has no other serial than that of its register; also if no list
/// tells.
bool needsSerialRegister(const vxModel::ElectricityMeterConfig& model,
                         const Installation& installation);

} // namespace inspector
