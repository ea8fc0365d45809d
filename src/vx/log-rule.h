#pragma once

#include "vx/log.h"

#include <optional>
#include <string>
#include <vector>

namespace vx {

/// Sets the severity of every channel whose name starts with `name`; an empty one means all.
struct LogRule {
    std::string name;
    LogSeverity severity;

    bool operator==(const LogRule&) const = default;
};

/// Severity of exactly one of the letters F, E, W, N, I, D.
std::optional<LogSeverity> tryParseLogSeverityChar(const char* text);

/// One rule: a severity letter with an optional alphanumeric name and ":" in front of it.
std::optional<LogRule> tryParseLogRule(char* text);

/// The valid rules of a list separated by ","; the others are dropped in silence.
std::vector<LogRule> tryParseLogRules(const char* text);

/// Value of a logging setting: the environment's, else the one of the file "/etc/libvx".
std::optional<std::string> getEnvOrConfig(const char* name);

/// Fails an assertion if the setting "VX_TEST_ASSERT" has a value, so that a process can prove its
/// crash reporting at start.
void testAssert();

} // namespace vx
