#pragma once

#include <cstddef>
#include <malloc.h>

/// What each run of @p action leaves on the heap, in bytes, once the first ones have made what is
/// made once. A sanitizer has a heap of its own, so 0 there.
template <class Action>
std::ptrdiff_t leftOnTheHeapBy(const Action& action) {
    constexpr int runs = 100;
    const auto inUseBehindTheRuns = [&action] {
        for (int i = 0; i < runs; ++i)
            action();
        return static_cast<std::ptrdiff_t>(mallinfo2().uordblks);
    };
    const std::ptrdiff_t first = inUseBehindTheRuns();
    return (inUseBehindTheRuns() - first) / runs;
}
