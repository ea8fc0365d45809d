#pragma once

#include "vx/log.h"

#include <optional>
#include <string>
#include <vector>

// The logging settings of an operator: VX_LOG and VX_LOG_COLORS. A list of rules looks like this,
//
//     VX_LOG=W,modbusSerial:D
//
// which is: warnings of all channels, and everything of the channels whose names start with
// "modbusSerial". If several rules fit a channel, the last one counts. The logger reads the
// settings; nothing here changes a channel. No pointer may be null.

namespace vx {

/// Sets the severity of every channel whose name starts with `name`; an empty one means all.
struct LogRule {
    std::string name;
    LogSeverity severity;

    bool operator==(const LogRule&) const = default;
};

/// Severity of exactly one of the letters F, E, W, N, I, D (fatal to debug); nothing for any other
/// text.
std::optional<LogSeverity> tryParseLogSeverityChar(const char* text);

/// One rule: a severity letter with an optional alphanumeric name and ":" in front of it. Nothing
/// for any other text, a blank included. The text is only read.
std::optional<LogRule> tryParseLogRule(char* text);

/// The valid rules of a list separated by ","; the others are dropped in silence.
std::vector<LogRule> tryParseLogRules(const char* text);

/// Value of a logging setting: the environment's, else that of the first line `name=value` of the
/// file "/etc/libvx". An empty value counts as none. A file that can't be read counts as empty; a
/// line of the bare name ends the search with a message on standard error. Not while another thread
/// changes the environment.
std::optional<std::string> getEnvOrConfig(const char* name);

/// Fails an assertion if the setting "VX_TEST_ASSERT" has a value, so that a process can prove its
/// crash reporting at start.
void testAssert();

} // namespace vx
