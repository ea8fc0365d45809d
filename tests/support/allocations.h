#pragma once

#include <cstddef>

/// Number of allocations that this process has made so far, by
/// whichever of its libraries, as by malloc, calloc, realloc and new.
/// A program with this function has an allocation of its own, so it goes with no sanitizer.
std::size_t allocations();
