#include "vx/date-time.h"

#include "vx/exception.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

// See the header for the deprecation of the span.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

/// Lets Boost's string algorithms take a span.
template <>
struct boost::range_const_iterator<vx::CharSpan> {
    using type = vx::CharSpan::iterator;
};

namespace vx {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

std::time_t wholeSeconds(DateTime time) {
    return duration_cast<seconds>(time.time_since_epoch()).count();
}

int millisecondsOfSecond(DateTime time) {
    return static_cast<int>(duration_cast<milliseconds>(time.time_since_epoch()).count() % 1000);
}

/// The milliseconds that @p s begins with: up to three digits, of which the first counts hundreds.
int parseMilliseconds(CharSpan s) {
    int result = 0;
    int unit = 100;
    for (const char c : s.subspan(0, std::min<CharSpan::size_type>(3, s.size()))) {
        if (std::isdigit(static_cast<unsigned char>(c)) == 0)
            break;
        result += (c - '0') * unit;
        unit /= 10;
    }
    return result;
}

/// Counts without a sign, so that a year beyond the range of `DateTime` wraps around.
DateTime fromParts(std::time_t whole, int thousandths) {
    const auto count = static_cast<std::uint64_t>(whole) * 1000000000U +
                       static_cast<std::uint64_t>(thousandths) * 1000000U;
    return DateTime(nanoseconds(static_cast<std::int64_t>(count)));
}

} // namespace

DateTime now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return DateTime(seconds(time.tv_sec) + nanoseconds(time.tv_nsec));
}

std::string toString(DateTime time) {
    const std::time_t whole = wholeSeconds(time);
    std::tm tm{};
    gmtime_r(&whole, &tm);
    char format[26];
    std::strftime(format, sizeof format, "%FT%T.%%03dZ", &tm);
    char text[25];
    std::snprintf(text, sizeof text, format, millisecondsOfSecond(time));
    return text;
}

std::string toLocalMsIsoString(DateTime time) {
    const std::time_t whole = wholeSeconds(time);
    std::tm tm{};
    localtime_r(&whole, &tm);
    char format[30];
    // The offset of a broken zone, of 100 hours or more, doesn't fit.
    if (std::strftime(format, sizeof format, "%FT%T.%%03d%z", &tm) == 0) {
        gmtime_r(&whole, &tm);
        std::strftime(format, sizeof format, "%FT%T.%%03d%z", &tm);
    }
    char text[30];
    std::snprintf(text, sizeof text, format, millisecondsOfSecond(time));
    // The offset comes without the colon that ISO 8601 wants beside a colon in the time.
    constexpr std::size_t colonIndex = 26;
    if (text[colonIndex] != ':') {
        // Only the two digits of the minutes are moved: with the sign that milliseconds have before
        // 1970, there is no room for more.
        std::memmove(text + colonIndex + 1, text + colonIndex, 2);
        text[colonIndex] = ':';
        text[colonIndex + 3] = '\0';
    }
    return text;
}

DateTime toDateTime(CharSpan s) {
    VX_THROW_UNLESS(s.size() >= 20, "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z", s,
                    s.size());
    VX_THROW_UNLESS(boost::ends_with(s, "Z"),
                    "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z", s);
    std::tm tm{};
    const int parsedTokens =
        std::sscanf(std::string(s.begin(), s.end()).c_str(), "%04d-%02d-%02dT%02d:%02d:%02d",
                    &tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour, &tm.tm_min, &tm.tm_sec);
    VX_THROW_UNLESS(parsedTokens == 6, "Expecting DateTime in format 2009-01-02T09:00:00[.000]Z",
                    s);
    VX_THROW_UNLESS(tm.tm_year >= 1900, "Expecting DateTime after year 1900", s);
    VX_THROW_UNLESS(tm.tm_mon >= 1, "Expecting DateTime month >= 1", s);
    tm.tm_year -= 1900;
    tm.tm_mon -= 1;
    return fromParts(timegm(&tm), s[19] == '.' ? parseMilliseconds(s.subspan(20)) : 0);
}

} // namespace vx
