#include "vx/str.h"

#include "vx/assert.h"
#include "vx/exception.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace vx {
namespace {

bool startsWithNumber(const std::string& s) {
    return !s.empty() && std::isspace(static_cast<unsigned char>(s.front())) == 0;
}

bool isWholeText(const std::string& s, const char* end) {
    return end == s.c_str() + s.size();
}

} // namespace

std::string detail::withoutTrailingBlank(std::string text) {
    if (text.ends_with(' '))
        text.pop_back();
    return text;
}

std::string_view detail::belowSources(std::string_view path) {
    constexpr std::string_view root = "src/";
    const auto position = path.rfind(root);
    return position == std::string_view::npos ? path : path.substr(position + root.size());
}

std::string trimFile(std::string file) {
    file.erase(0, file.size() - detail::belowSources(file).size());
    return trimFileWithDotsToMaxSize(std::move(file));
}

std::string trimFileWithDotsToMaxSize(std::string file) {
    constexpr std::size_t maxSize = detail::maxPathSize;
    if (file.size() <= maxSize)
        return file;
    file.erase(0, file.size() - maxSize);
    VX_ASSERT(file.size() == maxSize);
    return file.replace(0, 3, "...");
}

std::optional<int> tryToInt(const std::string& s) {
    if (!startsWithNumber(s))
        return std::nullopt;
    char* end = nullptr;
    const long value = std::strtol(s.c_str(), &end, 10);
    return isWholeText(s, end) ? std::optional(static_cast<int>(value)) : std::nullopt;
}

std::optional<double> tryToDouble(const std::string& s) {
    if (!startsWithNumber(s))
        return std::nullopt;
    constexpr std::string_view allowedBehindZero = ".eE";
    if (s[0] == '0' && s.size() > 1 && allowedBehindZero.find(s[1]) == std::string_view::npos)
        return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(s.c_str(), &end);
    return isWholeText(s, end) ? std::optional(value) : std::nullopt;
}

int requireInt(const std::string& s) {
    if (const auto value = tryToInt(s))
        return *value;
    VX_THROW("Conversion to integer failed.", s);
}

double requireDouble(const std::string& s) {
    if (const auto value = tryToDouble(s))
        return *value;
    VX_THROW("Conversion to double failed.", s);
}

std::string intToString(long long value, int base) {
    char text[21];
    if (base == 16)
        std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    else
        std::snprintf(text, sizeof text, "%lld", value);
    return text;
}

std::minstd_rand0& threadLocalRandomEngine() {
    thread_local std::minstd_rand0 engine;
    thread_local bool seeded = false;
    if (!seeded) {
        // The engine takes the remainder by its modulus, and 1 for the 0 that would never change.
        engine.seed(std::random_device("default")());
        seeded = true;
    }
    return engine;
}

std::string randomId() {
    constexpr std::string_view alphabet =
        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::uniform_int_distribution<int> position(0, static_cast<int>(alphabet.size()) - 1);
    std::string id(16, ' ');
    for (char& c : id)
        c = alphabet[static_cast<std::size_t>(position(threadLocalRandomEngine()))];
    return id;
}

} // namespace vx
