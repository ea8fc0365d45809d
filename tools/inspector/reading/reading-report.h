#pragma once

#include "inspector/output/json-output.h"
#include "inspector/output/terminal.h"
#include "inspector/reading/meter-poll.h"

namespace inspector {

/// A table of the registers, then the record and the message.
void printReading(Terminal& terminal, const MeterReading& reading);
/// One element of a list.
void writeReading(JsonOutput& output, const MeterReading& reading);

} // namespace inspector
