#pragma once

/// Frames that a stack trace begins with besides the program's own: the address and the thread
/// sanitizer wrap `backtrace`, which puts their wrapper first.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int sanitizerFrames = 1;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int sanitizerFrames = 1;
#else
constexpr int sanitizerFrames = 0;
#endif
#else
constexpr int sanitizerFrames = 0;
#endif
