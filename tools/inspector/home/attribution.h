#pragma once

#include "inspector/home/poll.h"

namespace inspector {

/// Finds the meters of failures that don't say theirs, as docs/operations.md tells people to do it:
/// the read of a meter begins at the time in its reading, and lasts until that of the next one.
void attribute(Poll& poll, const Home& home);

} // namespace inspector
