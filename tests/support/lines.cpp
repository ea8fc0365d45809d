#include "support/lines.h"

#include <algorithm>
#include <cctype>
#include <regex>

namespace {

auto contains(std::string_view text) {
    return [text](const std::string& line) { return line.find(text) != std::string::npos; };
}

/// As `std::regex_replace`, which takes much longer for a text without @p word, which is part of
/// all that @p pattern finds.
std::string replaced(const std::string& text, std::string_view word, const std::regex& pattern,
                     const char* by) {
    return text.find(word) == std::string::npos ? text : std::regex_replace(text, pattern, by);
}

bool isOfPath(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("-./_").find(c) != std::string_view::npos;
}

/// Whether a source is named at the end, behind a space or with its folder.
bool endsInSource(std::string_view text) {
    if (!text.ends_with(".cpp") && !text.ends_with(".h"))
        return false;
    const auto path = std::find_if_not(text.rbegin(), text.rend(), isOfPath).base();
    return path == text.begin() || path[-1] == ' ' ||
           std::find(path, text.end(), '/') != text.end();
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
    std::string result;
    std::size_t done = 0;
    for (std::size_t colon = text.find(':'); colon != std::string::npos;
         colon = text.find(':', colon + 1)) {
        const std::size_t end =
            std::min(text.find_first_not_of("0123456789", colon + 1), text.size());
        if (end == colon + 1 || !endsInSource(std::string_view(text).substr(0, colon)))
            continue;
        result += text.substr(done, colon + 1 - done) + "<line>";
        done = end;
    }
    return result + text.substr(done);
}

std::string withoutTime(const std::string& text) {
    static const std::regex time(R"((lastChanged":"?)\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)");
    return replaced(text, "lastChanged", time, "$1<time>");
}

std::string withoutRunningValues(const std::string& text) {
    static const std::regex expiry(R"(m_timer\.expiry\(\):[^ ]+)");
    static const std::regex milliseconds(R"(after \d+ (ms|milliseconds))");
    const std::string timeless = withoutLineNumbers(withoutTime(text));
    return replaced(replaced(timeless, "m_timer", expiry, "m_timer.expiry():<seconds>"), "after ",
                    milliseconds, "after <ms> $1");
}
