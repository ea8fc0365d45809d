#pragma once

#include "house/json-part.h"
#include "house/wire-time.h"

namespace house {

/// Refuses keys and names of serial parameters that the reader would pass over.
void checkSerialLine(const JsonPart& line);

/// How long bytes are on a line with these parameters, which must all be there.
WireTime wireTimeOn(const JsonPart& line);

} // namespace house
