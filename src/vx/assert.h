#pragma once

#include "vx/items.h"

namespace vx {

/// Writes all that is known of a failed assertion to descriptor 2 and aborts. It must work while
/// the heap or the logger is in a bad state: it takes no lock and writes each piece at once.
[[noreturn]] void assertFailed(const char* condition, const char* message, const char* function,
                               const char* file, long line);

} // namespace vx

/// Aborts unless @p condition holds, in every build. The items make the message, which is empty if
/// one of them throws.
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
