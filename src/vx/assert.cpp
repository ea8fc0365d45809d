#include "vx/assert.h"

#include "vx/enum-table.h"
#include "vx/log-context.h"
#include "vx/stack-trace.h"

#include <boost/assert.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <execinfo.h>
#include <sstream>
#include <string_view>
#include <unistd.h>

namespace vx {
namespace {

void writePiece(std::string_view text) {
    detail::writeToFd(STDERR_FILENO, text.data(), text.size());
    fsync(STDERR_FILENO);
}

void writeNumber(long number) {
    char text[33];
    std::snprintf(text, sizeof text, "%ld", number);
    writePiece(text);
}

/// Runs what may throw. An exception must stop neither the next pieces nor the abort.
template <class Function>
void tryPiece(Function function) {
    try {
        function();
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nobody left to tell
    }
}

void writeLogContext() {
    // Otherwise an enumeration value without a name would be reported through the logger.
    const detail::EnumReportPause pause;
    std::ostringstream stream;
    // The text of a context may itself log, throw by VX_THROW or fail an assertion, and each of
    // these would ask for the same text again, without end. So the thread has no context from here
    // on.
    stream << detail::takeLogContext();
    writePiece(stream.str());
}

void writeTraces(const StackTrace& trace) {
    writePiece("Stacktrace:");
    backtrace_symbols_fd(trace.frames + trace.begin, trace.end - trace.begin, STDERR_FILENO);
    fsync(STDERR_FILENO);
    writePiece("Decoded stacktrace:");
    tryPiece([&] { writeSymbolsToFd(trace, STDERR_FILENO); });
    fsync(STDERR_FILENO);
}

} // namespace

// Never inlined: the captured trace leaves out one frame for this function.
[[gnu::noinline]] void assertFailed(const char* condition, const char* message,
                                    const char* function, const char* file, long line) {
    // If descriptor 2 is a pipe that nobody reads any more, a write would end the process by
    // SIGPIPE before the abort.
    std::signal(SIGPIPE, SIG_IGN);
    writePiece("Assertion failed. ");
    writePiece(message);
    writePiece(" condition:");
    writePiece(condition);
    writePiece(" ");
    writePiece(file);
    writePiece(":");
    writeNumber(line);
    writePiece(" ");
    tryPiece(writeLogContext);
    writePiece(" ");
    writePiece(function);
    writePiece("\n");
    writeTraces(StackTrace::capture(0));
    std::abort();
}

} // namespace vx

namespace boost {

void assertion_failed(const char* expr, const char* function, const char* file, long line) {
    vx::assertFailed(expr, "", function, file, line);
}

void assertion_failed_msg(const char* expr, const char* msg, const char* function, const char* file,
                          long line) {
    vx::assertFailed(expr, msg, function, file, line);
}

} // namespace boost
