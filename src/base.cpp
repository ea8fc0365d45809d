#include "base.h"

#include "logger.h"
#include "string-converter.h"

#include "vx/log.h"
#include "vx/str.h"

#include <curl/curl.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace orv {
namespace {

vx::LogChannel channel("base", vx::LogSeverity::notice);

constexpr const char* blanks = " \t\n\r";

/// The number that @p convert, such as `strtol`, makes of @p text; nothing unless it takes all of
/// it.
template <class Number, class Converter>
std::optional<Number> parseWhole(const std::string& text, Converter convert) {
    char* end = nullptr;
    const auto number = convert(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size())
        return std::nullopt;
    return static_cast<Number>(number);
}

std::optional<int> parseInt(const std::string& text) {
    return parseWhole<int>(text, [](auto s, auto end) { return std::strtol(s, end, 0); });
}

std::optional<unsigned> parseUInt(const std::string& text) {
    return parseWhole<unsigned>(text, [](auto s, auto end) { return std::strtoul(s, end, 0); });
}

std::optional<unsigned long long> parseULongLong(const std::string& text) {
    return parseWhole<unsigned long long>(
        text, [](auto s, auto end) { return std::strtoull(s, end, 0); });
}

std::optional<double> parseDouble(const std::string& text) {
    return parseWhole<double>(text, [](auto s, auto end) { return std::strtod(s, end); });
}

template <class Number>
Number require(const std::optional<Number>& number, const char* function,
               const std::string& value) {
    if (!number)
        throw std::invalid_argument(vx::str(function, ": Could not parse value: '", value, "'"));
    return *number;
}

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// Whether @p lead, the first byte of a UTF-8 character, announces exactly that many further bytes.
/// One to four are known.
bool announces(char lead, std::size_t continuationBytes) {
    struct Pattern {
        unsigned char mask;
        unsigned char expected;
    };
    constexpr std::array<Pattern, 4> patterns = {
        {{0xE0, 0xC0}, {0xF0, 0xE0}, {0xF8, 0xF0}, {0xFC, 0xF8}}};
    if (continuationBytes == 0 || continuationBytes > patterns.size())
        return false;
    const auto [mask, expected] = patterns[continuationBytes - 1];
    return (static_cast<unsigned char>(lead) & mask) == expected;
}

/// What stands for @p c in XML text.
std::string escaped(char c) {
    switch (c) {
    case '"':
        return "&quot;";
    case '&':
        return "&amp;";
    case '\'':
        return "&apos;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '\t':
    case '\n':
    case '\r':
        return {c};
    default:
        break;
    }
    const bool isControl = (c >= 1 && c <= 31) || c == 127;
    if (!isControl)
        return {c};
    // There is no third digit: 127 has twelve tens, and the twelfth character from "0" on is "<".
    // The receivers expect this "<7".
    return {'&', '#', static_cast<char>('0' + c / 10), static_cast<char>('0' + c % 10), ';'};
}

} // namespace

int strToIntDef(const std::string& value, int defaultValue) {
    return parseInt(value).value_or(defaultValue);
}

unsigned strToUIntDef(const std::string& value, unsigned defaultValue) {
    return parseUInt(value).value_or(defaultValue);
}

unsigned long long strToULongLongDef(const std::string& value, unsigned defaultValue) {
    return parseULongLong(value).value_or(defaultValue);
}

double strToDouble(const std::string& value, double defaultValue) {
    return parseDouble(value).value_or(defaultValue);
}

int strToInt(const std::string& value) {
    return require(parseInt(value), "strToInt", value);
}

unsigned strToUInt(const std::string& value) {
    return require(parseUInt(value), "strToUInt", value);
}

unsigned long long strToULongLong(const std::string& value) {
    // Not its own name: operators search the log for this one.
    return require(parseULongLong(value), "strToUInt", value);
}

double strToDouble(const std::string& value) {
    return require(parseDouble(value), "strToDouble", value);
}

std::string intToString(long long value, bool hex) {
    return vx::intToString(value, hex ? 16 : 10);
}

std::string uintToString(unsigned long long value, bool hex) {
    char text[21];
    std::snprintf(text, sizeof text, hex ? "0x%llx" : "%llu", value);
    return text;
}

std::string doubleToString(double value) {
    return vx::str(value);
}

std::string unsignedLongIntToString(unsigned long long value) {
    return vx::str(value);
}

std::string unsignedLongIntToHexString(unsigned long long value) {
    std::ostringstream stream;
    stream << std::hex << value;
    return stream.str();
}

std::string hexEncodeByteArray(const unsigned char* data, unsigned size) {
    std::ostringstream stream;
    stream << std::hex << std::setfill('0');
    for (unsigned i = 0; i < size; ++i)
        stream << std::setw(2) << unsigned{data[i]};
    return stream.str();
}

std::string trim(const std::string& s) {
    const auto first = s.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    return s.substr(first, s.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> splitString(const std::string& s, char delimiter, bool trimEntries) {
    std::vector<std::string> parts;
    const auto add = [&](std::string part) {
        parts.push_back(trimEntries ? trim(part) : std::move(part));
    };
    std::size_t begin = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != delimiter || (i > 0 && s[i - 1] == '\\'))
            continue;
        add(s.substr(begin, i - begin));
        begin = i + 1;
    }
    add(s.substr(begin));
    return parts;
}

std::pair<std::string, std::string> splitIntoKeyValue(const std::string& s) {
    const auto position = s.find('=');
    if (position == std::string::npos)
        return {};
    return {s.substr(0, position), s.substr(position + 1)};
}

std::string join(const std::vector<std::string>& parts, const std::string& delimiter) {
    std::string result;
    for (const std::string& part : parts) {
        if (&part != &parts.front())
            result += delimiter;
        result += part;
    }
    return result;
}

void replaceAll(std::string& s, const std::string& from, const std::string& to) {
    if (from.empty())
        return;
    for (auto at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size()))
        s.replace(at, from.size(), to);
}

std::string::size_type findAndUnescape(std::string& s, char c, unsigned from) {
    auto hit = s.find(c, from);
    while (hit != std::string::npos && hit > 0 && s[hit - 1] == '\\') {
        s.erase(hit - 1, 1);
        // The character now stands where its backslash was.
        hit = s.find(c, hit);
    }
    return hit;
}

bool beginsWith(const std::string& s, const std::string& prefix) {
    return s.starts_with(prefix);
}

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.ends_with(suffix);
}

std::string carCdrPath(std::string& path) {
    const auto slash = path.find('/');
    std::string first = path.substr(0, slash);
    path = slash == std::string::npos ? std::string() : path.substr(slash + 1);
    return first;
}

std::string addTrailingBackslash(const std::string& path) {
    return path.ends_with('/') ? path : path + "/";
}

std::string doIndent(int n) {
    return n <= 0 ? std::string() : "    " + doIndent(n - 1);
}

std::string urlEncode(const std::string& s) {
    static CURL* const handle = curl_easy_init();
    if (handle == nullptr)
        throw std::bad_alloc();
    const std::unique_ptr<char, decltype(&curl_free)> result(
        curl_easy_escape(handle, s.data(), static_cast<int>(s.size())), &curl_free);
    if (!result)
        throw std::bad_alloc();
    return result.get();
}

std::string XMLStringEscape(const std::string& s) {
    try {
        StringConverter("UTF-8", "UTF-8").convert(s);
    } catch (const std::exception&) {
        Logger::log("cleared out invalid UTF-8 string " + s, aLogSeverity::warning);
        return {};
    }
    std::string result;
    for (const char* c = s.c_str(); *c != '\0'; ++c)
        result += escaped(*c);
    return result;
}

std::string fixUtf8(const std::string& s) {
    static StringConverter converter("UTF-8", "UTF-8");
    try {
        return converter.convert(s);
    } catch (const std::exception&) {
        VX_LOG(channel, error, "Clearing invalid UTF-8 string.", s);
        return {};
    }
}

std::string truncateUTF8String(const std::string& s, unsigned maxBytes) {
    if (s.size() <= maxBytes)
        return s;
    std::string result(s, 0, strnlen(s.c_str(), maxBytes));
    if (result.empty() || (static_cast<unsigned char>(result.back()) & 0x80) == 0)
        return result;
    std::size_t lead = result.size() - 1;
    while (lead > 0 && isContinuationByte(result[lead]))
        --lead;
    if (!announces(result[lead], result.size() - lead - 1))
        result.erase(lead);
    return result;
}

std::string readFile(const std::string& filename) {
    try {
        std::ifstream in(filename, std::ios::binary);
        in.exceptions(std::ios::failbit | std::ios::badbit);
        std::ostringstream content;
        // A read that fails in the middle shows in this stream, not in the file's.
        content.exceptions(std::ios::failbit | std::ios::badbit);
        if (in.peek() != std::ifstream::traits_type::eof())
            content << in.rdbuf();
        return content.str();
    } catch (const std::exception& e) {
        throw std::invalid_argument(
            vx::str("Failed to read file:", filename, " e.what():", e.what()));
    }
}

bool rwAccess(const std::string& filename) {
    return access(filename.c_str(), R_OK | W_OK) == 0;
}

void syncFile(const std::string& filename) {
    const int fd = open(filename.c_str(), O_RDONLY);
    if (fd == -1)
        return;
    fsync(fd);
    close(fd);
}

std::string getTempDir() {
    return addTrailingBackslash("/tmp");
}

void sleepSeconds(unsigned seconds) {
    sleep(seconds);
}

void sleepMS(unsigned milliseconds) {
    usleep(milliseconds * 1000);
}

// NOLINTNEXTLINE(readability-identifier-naming): its callers know it so
unsigned short update_crc(unsigned short crc, const unsigned char& byte,
                          unsigned short polynomial) {
    unsigned value = crc ^ byte;
    for (int step = 0; step < 8; ++step)
        value = (value & 1U) != 0 ? (value >> 1U) ^ polynomial : value >> 1U;
    return static_cast<unsigned short>(value);
}

unsigned short crc16(const unsigned char* data, int size, unsigned short polynomial) {
    unsigned short crc = 0;
    for (int i = 0; i < size; ++i)
        crc = update_crc(crc, data[i], polynomial);
    return crc;
}

Properties::Properties(std::initializer_list<std::pair<const std::string, std::string>> properties)
    : m_properties(properties) {}

bool Properties::has(const std::string& key) const {
    return m_properties.contains(key);
}

std::string Properties::get(const std::string& key) const {
    const auto found = m_properties.find(key);
    if (found == m_properties.end())
        throw std::invalid_argument(vx::str("could not find value for '", key, "' in properties"));
    return found->second;
}

std::string Properties::get(const std::string& key, const std::string& defaultValue) const {
    return has(key) ? get(key) : defaultValue;
}

void Properties::set(const std::string& key, const std::string& value) {
    m_properties[key] = value;
}

void Properties::unset(const std::string& key) {
    m_properties.erase(key);
}

std::string Properties::toString() const {
    std::string result;
    for (const auto& [key, value] : m_properties)
        result += vx::str(" \"", key, "\":\"", value, "\"");
    return result;
}

std::ostream& operator<<(std::ostream& stream, const Properties& properties) {
    return stream << properties.toString();
}

} // namespace orv
