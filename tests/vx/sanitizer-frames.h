#pragma once

#include "support/sanitizers.h"

/// Frames that a stack trace begins with besides the program's own: the address and the thread
/// sanitizer wrap `backtrace`, which puts their wrapper first.
#if defined(READER_ADDRESS_SANITIZER) || defined(READER_THREAD_SANITIZER)
constexpr int sanitizerFrames = 1;
#else
constexpr int sanitizerFrames = 0;
#endif
