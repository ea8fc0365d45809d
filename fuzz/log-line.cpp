// A log line and a stack trace, written and read again.

#include "fuzz.h"

#include "house/descriptor.h"
#include "vx/date-time.h"
#include "vx/log-context.h"
#include "vx/stack-trace.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// Standard error goes to a file in memory for the scope.
class StandardError {
public:
    StandardError() { house::require(dup2(m_file.number(), STDERR_FILENO), "dup2"); }
    ~StandardError() { dup2(m_saved.number(), STDERR_FILENO); }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    std::string text() const {
        std::string text(static_cast<std::size_t>(lseek(m_file.number(), 0, SEEK_END)), '\0');
        house::require(static_cast<int>(pread(m_file.number(), text.data(), text.size(), 0)),
                       "pread");
        return text;
    }

private:
    house::Descriptor m_file{house::require(memfd_create("standard error", 0), "memfd_create")};
    house::Descriptor m_saved{house::require(dup(STDERR_FILENO), "dup")};
};

struct Line {
    std::string time;
    std::string thread;
    std::string severity;
    std::string rest;
};

/// "[time] thread SEVERITY rest"
Line readLine(const std::string& text) {
    VX_ASSERT(text.size() > 43 && text[0] == '[' && text.compare(30, 2, "] ") == 0, text);
    std::size_t at = text.find_first_not_of(' ', 32);
    const std::size_t end = text.find(' ', at);
    VX_ASSERT(end != std::string::npos && text.size() > end + 7 && text[end + 6] == ' ', text);
    return {text.substr(1, 29), text.substr(at, end - at), text.substr(end + 1, 5),
            text.substr(end + 7)};
}

vx::DateTime millisecond(vx::DateTime moment) {
    return std::chrono::floor<std::chrono::milliseconds>(moment);
}

void checkLine(const std::string& channel, int severity, const std::string& message) {
    static constexpr std::array<const char*, 8> names = {"!!!!!", "FATAL", "ERROR", "WARN ",
                                                         "NOTIC", "INFO ", "DEBUG", "?????"};
    const auto before = millisecond(vx::now());
    std::string text;
    {
        const StandardError standardError;
        vx::Logger::defaultLogFunction(channel.c_str(), static_cast<vx::LogSeverity>(severity),
                                       message);
        text = standardError.text();
    }
    const Line line = readLine(text);
    // The time zone of the fuzzer is UTC.
    VX_ASSERT(line.time.ends_with("+00:00"), line.time);
    const auto moment = vx::toDateTime(line.time.substr(0, 23) + "Z");
    VX_ASSERT(moment >= before && moment <= vx::now(), line.time);
    VX_ASSERT(line.thread == std::to_string(gettid()), line.thread);
    VX_ASSERT(line.severity == names[static_cast<std::size_t>(severity)], line.severity);
    VX_ASSERT(line.rest == fuzz::upToNul(channel) + " " + message + "\n", line.rest);
}

/// The text of a statement with each kind of item.
void checkStatement(const std::string& text, double real, long long number, char c) {
    static vx::LogChannel logChannel("fuzz", vx::LogSeverity::notice);
    static std::string logged;
    vx::Logger::instance().setLogFunction(
        [](const char*, vx::LogSeverity, const std::string& message) { logged = message; });

    VX_LOG_CONTEXT(number);
    VX_LOG(logChannel, notice, "Items", text, real, "and", c);
    const int lineNumber = __LINE__ - 1;

    std::ostringstream expected;
    expected << "Items text:" << text << " real:" << real << " and c:" << c << " number:" << number
             << " log-line.cpp:" << lineNumber;
    VX_ASSERT(logged == expected.str(), logged, expected.str());
}

void checkSymbol(const std::string& symbol) {
    const auto parts = vx::detail::splitSymbol(symbol);
    if (!parts)
        return;
    std::string text(parts->path);
    text += "(" + std::string(parts->name) + "+" + std::string(parts->offset) + ")";
    VX_ASSERT(symbol.compare(0, text.size(), text) == 0, symbol);
}

void checkTrace(FuzzedDataProvider& input) {
    vx::StackTrace trace;
    trace.end = input.ConsumeIntegralInRange(0, 4);
    for (int i = 0; i < trace.end; ++i) {
        const auto known = reinterpret_cast<std::uintptr_t>(&LLVMFuzzerTestOneInput);
        const auto address = input.ConsumeBool() ? known + input.ConsumeIntegral<std::uint8_t>()
                                                 : input.ConsumeIntegral<std::uintptr_t>();
        // NOLINTNEXTLINE(performance-no-int-to-ptr): any address
        trace.frames[i] = reinterpret_cast<void*>(address);
    }
    std::string written;
    {
        const StandardError standardError;
        vx::writeSymbolsToFd(trace, STDERR_FILENO);
        written = standardError.text();
    }
    VX_ASSERT(written == vx::str(trace), written);
    const auto lines = static_cast<int>(std::count(written.begin(), written.end(), '\n'));
    VX_ASSERT(lines == 1 + trace.end, written);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const int severity = input.ConsumeIntegralInRange(0, 7);
    const auto real = input.ConsumeFloatingPoint<double>();
    const auto number = input.ConsumeIntegral<long long>();
    const auto c = input.ConsumeIntegral<char>();
    checkTrace(input);
    const std::string channel = input.ConsumeRandomLengthString(20);
    checkSymbol(input.ConsumeRandomLengthString(80));
    const std::string text = input.ConsumeRemainingBytesAsString();
    checkLine(channel, severity, text);
    checkStatement(text, real, number, c);
    return 0;
}
