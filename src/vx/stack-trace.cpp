#include "vx/stack-trace.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <execinfo.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace vx {
namespace {

/// Demangles names into one buffer, which `__cxa_demangle` enlarges when it must.
class Demangler {
public:
    Demangler() : m_buffer(static_cast<char*>(std::malloc(initialSize))) {}
    ~Demangler() { std::free(m_buffer); }
    Demangler(const Demangler&) = delete;
    Demangler& operator=(const Demangler&) = delete;

    /// The demangled name, or @p mangled itself where that fails.
    std::string_view operator()(const std::string& mangled) {
        char* name = abi::__cxa_demangle(mangled.c_str(), m_buffer, &m_size, nullptr);
        if (name == nullptr)
            return mangled;
        m_buffer = name;
        return name;
    }

private:
    static constexpr std::size_t initialSize = 8096;
    char* m_buffer;
    std::size_t m_size = initialSize;
};

template <class Sink>
void writeSymbol(Sink& sink, std::string_view symbol, Demangler& demangle) {
    sink("  ");
    if (const auto parts = detail::splitSymbol(symbol)) {
        const std::string mangled(parts->name);
        sink(parts->path);
        sink(" : ");
        sink(demangle(mangled));
        sink(" +");
        sink(parts->offset);
    } else {
        sink(symbol);
    }
    sink("\n");
}

template <class Sink>
void writeSymbols(const StackTrace& trace, Sink sink) {
    if (trace.begin > trace.end)
        std::terminate();
    if (trace.begin == trace.end)
        return sink("  <empty bactrace, possibly corrupt>\n");
    const std::unique_ptr<char*, decltype(&std::free)> symbols(
        backtrace_symbols(trace.frames + trace.begin, trace.end - trace.begin), &std::free);
    Demangler demangle;
    sink("\n");
    for (int i = 0; symbols != nullptr && i < trace.end - trace.begin; ++i)
        writeSymbol(sink, symbols.get()[i], demangle);
}

} // namespace

// Never inlined: the two frames that are left out are this function's and its caller's.
[[gnu::noinline]] StackTrace StackTrace::capture(int skip) {
    StackTrace trace;
    trace.end = backtrace(trace.frames, maxDepth);
    trace.begin = std::min(skip, trace.end - 2) + 2;
    return trace;
}

std::ostream& operator<<(std::ostream& stream, const StackTrace& trace) {
    writeSymbols(trace, [&stream](std::string_view text) { stream << text; });
    return stream;
}

void writeSymbolsToFd(const StackTrace& trace, int fd) {
    writeSymbols(trace,
                 [fd](std::string_view text) { detail::writeToFd(fd, text.data(), text.size()); });
}

std::optional<detail::SymbolParts> detail::splitSymbol(std::string_view symbol) {
    constexpr auto none = std::string_view::npos;
    std::size_t open = none;
    std::size_t plus = none;
    for (std::size_t i = 0; i < symbol.size(); ++i) {
        if (symbol[i] == '(')
            open = i;
        if (symbol[i] == '+')
            plus = i;
        if (symbol[i] != ')' || plus == none)
            continue;
        if (open == none || open > plus)
            return std::nullopt;
        return SymbolParts{symbol.substr(0, open), symbol.substr(open + 1, plus - open - 1),
                           symbol.substr(plus + 1, i - plus - 1)};
    }
    return std::nullopt;
}

void detail::writeToFd(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0)
            return;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

} // namespace vx
