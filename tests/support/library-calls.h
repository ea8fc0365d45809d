#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// What functions of the C library do when this test program's own code calls them, as long as one
/// is set. The calls that libraries make are not touched. They are process-wide; a test resets what
/// it set with `LibraryCallsReset`.
struct LibraryCalls {
    /// Told of each call before it.
    std::function<void(const std::string& path, int mode)> beforeAccess;
    std::function<void(int fd)> beforeFsync;
    std::function<void()> beforeIconv;
    std::function<void(unsigned seconds)> beforeSleep;
    std::function<void(unsigned microseconds)> beforeUsleep;
    /// Number of bytes that neither `malloc` nor `realloc` has memory for, 0 for none.
    std::size_t unobtainableSize = 0;
    /// `errno` of a failing `iconv`, 0 for none.
    int iconvError = 0;
};

extern LibraryCalls libraryCalls;

/// Gives the process its own calls back at the end of the scope.
struct LibraryCallsReset {
    LibraryCallsReset() = default;
    ~LibraryCallsReset() { libraryCalls = {}; }
    LibraryCallsReset(const LibraryCallsReset&) = delete;
    LibraryCallsReset& operator=(const LibraryCallsReset&) = delete;
};
