#pragma once

/// Frames that a stack trace begins with besides the program's own: the address sanitizer wraps
/// `backtrace`, which puts its wrapper first.
#if defined(__SANITIZE_ADDRESS__)
constexpr int sanitizerFrames = 1;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr int sanitizerFrames = 1;
#else
constexpr int sanitizerFrames = 0;
#endif
#else
constexpr int sanitizerFrames = 0;
#endif
