#pragma once

#include "vx/items.h"

namespace vx {

/// Writes all that is known of a failed assertion to descriptor 2 and aborts (SIGABRT): one line
/// with message, condition, position, log context and function, then the stack. It takes no lock of
/// the logger and writes each piece at once, so that the first ones are out when a later one fails
/// because the heap or the context is in a bad state. From any thread. The texts must not be null.
[[noreturn]] void assertFailed(const char* condition, const char* message, const char* function,
                               const char* file, long line);

} // namespace vx

/// Aborts unless @p condition holds, in every build, NDEBUG or not. It is for what must never be
/// false; what can go wrong at run time throws. The items make the message. They are evaluated only
/// on failure, and the message is empty if one of them throws:
///
///     VX_ASSERT(begin <= end, "Broken range", begin, end);
///     // Assertion failed. Broken range begin:5 end:3 condition:begin <= end /…/range.cpp:7 …
///
/// Condition and items stand inside a lambda, so it can be used only within functions.
#define VX_ASSERT(condition, ...)                                                                  \
    [&] {                                                                                          \
        if (condition)                                                                             \
            return;                                                                                \
        try {                                                                                      \
            ::vx::assertFailed(VX_TEXT(condition),                                                 \
                               ::vx::detail::Text{"" VX_ITEMS(__VA_ARGS__)}.text.c_str(),          \
                               __PRETTY_FUNCTION__, __FILE__, __LINE__);                           \
        } catch (...) {                                                                            \
            ::vx::assertFailed(VX_TEXT(condition), "", __PRETTY_FUNCTION__, __FILE__, __LINE__);   \
        }                                                                                          \
    }()
