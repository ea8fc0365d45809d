#include "vx/log-rule.h"

#include "vx/assert.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace vx {
namespace {

constexpr const char* configFile = "/etc/libvx";

constexpr std::array<std::pair<char, LogSeverity>, 6> severityLetters = {{
    {'F', LogSeverity::fatal},
    {'E', LogSeverity::error},
    {'W', LogSeverity::warning},
    {'N', LogSeverity::notice},
    {'I', LogSeverity::info},
    {'D', LogSeverity::debug},
}};

bool isAlphanumeric(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

/// Value of the first line `name=value` of the file.
std::optional<std::string> findInFile(std::string_view name) {
    std::ifstream file(configFile);
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with(name))
            continue;
        // `at`, as a line of the bare name must end the search with the message of its exception.
        const bool assigned = line.at(name.size()) == '=';
        if (assigned && line.size() > name.size() + 1)
            return line.substr(name.size() + 1);
    }
    return std::nullopt;
}

} // namespace

std::optional<LogSeverity> tryParseLogSeverityChar(const char* text) {
    if (std::strlen(text) != 1)
        return std::nullopt;
    for (const auto& [letter, severity] : severityLetters)
        if (letter == *text)
            return severity;
    return std::nullopt;
}

std::optional<LogRule> tryParseLogRule(char* text) {
    const char* letter = text;
    std::string name;
    if (const char* colon = std::strchr(text, ':')) {
        name.assign(text, static_cast<std::size_t>(colon - text));
        letter = colon + 1;
    }
    const auto severity = tryParseLogSeverityChar(letter);
    if (!severity || !isAlphanumeric(name))
        return std::nullopt;
    return LogRule{name, *severity};
}

std::vector<LogRule> tryParseLogRules(const char* text) {
    std::vector<LogRule> rules;
    std::istringstream list(text);
    for (std::string item; std::getline(list, item, ',');)
        if (auto rule = tryParseLogRule(item.data()))
            rules.push_back(std::move(*rule));
    return rules;
}

std::optional<std::string> getEnvOrConfig(const char* name) {
    // Called before threads exist, and nothing here changes the environment.
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0')
        return value;
    if (access(configFile, F_OK) != 0)
        return std::nullopt;
    try {
        return findInFile(name);
    } catch (const std::exception& e) {
        // The logger is still being made, so it can't say this.
        std::fprintf(stderr, "Failed to parse %s, error:%s\n", configFile, e.what());
        return std::nullopt;
    }
}

void testAssert() {
    if (getEnvOrConfig("VX_TEST_ASSERT"))
        VX_ASSERT(false, "Test assert.");
}

} // namespace vx
