#pragma once

#include "metering/readings.h"

#include <string>
#include <utility>

namespace inspector {

/// Key and value of the number of a record that isn't zero; an empty key if all are. Of several it
/// is the last one.
std::pair<std::string, double>
numberOf(const orv::metering::readings::ModbusMeteringSystem& record);

} // namespace inspector
