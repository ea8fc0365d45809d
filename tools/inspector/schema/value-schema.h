#pragma once

#include "inspector/daemon/shape.h"
#include "inspector/schema/schema-writer.h"

namespace inspector {

/// Writes the keywords of a value that is no record and no list, as the daemon takes it: what they
/// allow is read as it stands, and null as an absent key.
void writeTaken(SchemaWriter& writer, const Shape& shape);

/// The same of a value in a message, which is never zero, empty or false.
void writeSent(SchemaWriter& writer, const Shape& shape);

} // namespace inspector
