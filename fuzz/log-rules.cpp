// The operator's log settings: the first line of the input is a list of rules, the others are the
// file "/etc/libvx". Both are also read by a second, plain formulation.

#include "fuzz.h"

#include "vx/log-rule.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

constexpr const char* letters = "FEWNID";

char letterOf(vx::LogSeverity severity) {
    return letters[static_cast<int>(severity) - static_cast<int>(vx::LogSeverity::fatal)];
}

std::string textOf(const std::vector<vx::LogRule>& rules) {
    std::string text;
    for (const vx::LogRule& rule : rules) {
        text += text.empty() ? "" : ",";
        text += rule.name.empty() ? "" : rule.name + ":";
        text += letterOf(rule.severity);
    }
    return text;
}

/// A severity letter with an optional alphanumeric name and ":" in front of it.
bool isRule(const std::string& text) {
    if (text.empty() || std::strchr(letters, text.back()) == nullptr)
        return false;
    if (text.size() == 1)
        return true;
    const std::string name = text.substr(0, text.size() - 2);
    return text[text.size() - 2] == ':' &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c); });
}

void checkRules(const std::string& text) {
    const auto rules = vx::tryParseLogRules(text.c_str());
    VX_ASSERT(vx::tryParseLogRules(textOf(rules).c_str()) == rules, text);

    std::vector<std::string> items(1);
    for (const char c : fuzz::upToNul(text)) {
        if (c == ',')
            items.emplace_back();
        else
            items.back() += c;
    }
    VX_ASSERT(std::count_if(items.begin(), items.end(), isRule) ==
                  static_cast<std::ptrdiff_t>(rules.size()),
              text);
}

/// Value of the first line `name=value`; a line of the bare name ends the search.
std::optional<std::string> plainSetting(const std::string& content, const std::string& name) {
    std::istringstream stream(content);
    for (std::string line; std::getline(stream, line);) {
        if (line == name)
            return std::nullopt;
        if (line.compare(0, name.size() + 1, name + "=") == 0 && line.size() > name.size() + 1)
            return line.substr(name.size() + 1);
    }
    return std::nullopt;
}

void checkFile(const std::string& content) {
    std::ofstream("/etc/libvx", std::ios::binary | std::ios::trunc) << content;
    for (const char* name : {"VX_LOG", "VX_LOG_COLORS", "VX_TEST_ASSERT"}) {
        unsetenv(name);
        VX_ASSERT(vx::getEnvOrConfig(name) == plainSetting(content, name), name, content);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::textOf(data, size);
    const auto end = text.find('\n');
    checkRules(text.substr(0, end));
    checkFile(end == std::string::npos ? "" : text.substr(end + 1));
    return 0;
}
