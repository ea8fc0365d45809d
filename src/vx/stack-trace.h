#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string_view>

namespace vx {

/// The return addresses of a call chain, innermost first. Addresses become names only when a trace
/// is written, and only for functions in the dynamic symbol table: an executable that wants its own
/// functions named is linked with exports.
struct StackTrace {
    static constexpr int maxDepth = 64;

    void* frames[maxDepth] = {};
    /// Index of the first frame that counts.
    int begin = 0;
    /// One more than the index of the last frame.
    int end = 0;

    /// Captures the chain from the caller's caller on, without its innermost @p skip frames. Frames
    /// beyond the depth are missing at the outer end; if none is left, the trace is empty.
    static StackTrace capture(int skip);
};

/// Writes one line per frame with the demangled name of its function, after one line end; for an
/// empty trace one line that tells so. Ends the process if the trace begins after its end.
std::ostream& operator<<(std::ostream& stream, const StackTrace& trace);

/// Writes the text of the stream operator straight to a descriptor, piece by piece. Needs memory;
/// an error of the descriptor is passed over.
void writeSymbolsToFd(const StackTrace& trace, int fd);

namespace detail {

/// The pieces of a symbol text of the form `path(name+offset) [address]`.
struct SymbolParts {
    std::string_view path;
    std::string_view name;
    std::string_view offset;

    bool operator==(const SymbolParts&) const = default;
};

/// Splits what `backtrace_symbols` gives for one frame; nothing if it has another form.
std::optional<SymbolParts> splitSymbol(std::string_view symbol);

/// Writes all @p size bytes, through short writes; gives up in silence on an error.
void writeToFd(int fd, const char* data, std::size_t size);

} // namespace detail
} // namespace vx
