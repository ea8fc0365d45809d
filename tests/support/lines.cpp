#include "support/lines.h"

#include <algorithm>
#include <regex>

namespace {

auto contains(std::string_view text) {
    return [text](const std::string& line) { return line.find(text) != std::string::npos; };
}

} // namespace

std::vector<std::string> linesWith(const std::vector<std::string>& lines, std::string_view text) {
    std::vector<std::string> result;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(result), contains(text));
    return result;
}

std::vector<std::string> linesBetween(const std::vector<std::string>& lines, std::string_view first,
                                      std::string_view end) {
    const auto from = std::find_if(lines.begin(), lines.end(), contains(first));
    return {from, std::find_if(from, lines.end(), contains(end))};
}

std::string withoutLineNumbers(const std::string& text) {
    static const std::regex position(R"(((?:^|[ /])[-./\w]*\.(?:cpp|h)):\d+)");
    return std::regex_replace(text, position, "$1:<line>");
}

std::string withoutTime(const std::string& text) {
    static const std::regex time(R"((lastChanged":"?)\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)");
    return std::regex_replace(text, time, "$1<time>");
}

std::string withoutRunningValues(const std::string& text) {
    static const std::regex expiry(R"(m_timer\.expiry\(\):[^ ]+)");
    static const std::regex milliseconds(R"(after \d+ (ms|milliseconds))");
    const std::string timeless = withoutLineNumbers(withoutTime(text));
    return std::regex_replace(std::regex_replace(timeless, expiry, "m_timer.expiry():<seconds>"),
                              milliseconds, "after <ms> $1");
}
