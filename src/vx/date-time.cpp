#include "vx/date-time.h"

#include "vx/exception.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

namespace {

constexpr long secondsPerMinute = 60;
constexpr long secondsPerHour = 3600;

/// Puts the last @p width digits of @p number at @p p and returns what follows them.
char* putDigits(char* p, long number, int width) {
    for (int i = width; i-- > 0; number /= 10)
        p[i] = static_cast<char>('0' + number % 10);
    return p + width;
}

/// As `putDigits`, and puts @p separator behind them.
char* putPart(char* p, long number, int width, char separator) {
    p = putDigits(p, number, width);
    *p++ = separator;
    return p;
}

/// Puts date, time and milliseconds: 2026-11-14T03:24:09.123
/// Not by `strftime`, which takes five times as long: each log line has its time.
char* putMoment(char* p, const std::tm& tm, int thousandths) {
    constexpr int firstYear = 1900;
    p = putPart(p, firstYear + tm.tm_year, 4, '-');
    p = putPart(p, 1 + tm.tm_mon, 2, '-');
    p = putPart(p, tm.tm_mday, 2, 'T');
    p = putPart(p, tm.tm_hour, 2, ':');
    p = putPart(p, tm.tm_min, 2, ':');
    p = putPart(p, tm.tm_sec, 2, '.');
    if (thousandths >= 0)
        return putDigits(p, thousandths, 3);
    // As "%03d": the sign takes one of the three columns, or a fourth one if each has a digit.
    *p++ = '-';
    return putDigits(p, -thousandths, thousandths > -100 ? 2 : 3);
}

/// Puts an offset of less than 100 hours, which may be negative: +0100
char* putOffset(char* p, long offset) {
    *p++ = offset < 0 ? '-' : '+';
    offset = std::abs(offset);
    p = putDigits(p, offset / secondsPerHour, 2);
    return putDigits(p, offset / secondsPerMinute % 60, 2);
}

} // namespace

std::string toString(DateTime time) {
    constexpr std::size_t size = 24;
    const std::time_t whole = wholeSeconds(time);
    std::tm tm{};
    gmtime_r(&whole, &tm);
    // With a fourth column of milliseconds the "Z" gets beyond the size.
    std::array<char, size + 1> text;
    *putMoment(text.data(), tm, millisecondsOfSecond(time)) = 'Z';
    return {text.data(), size};
}

std::string toLocalMsIsoString(DateTime time) {
    const auto text = detail::localTimeText(time);
    return {text.begin(), text.end()};
}

detail::LocalTimeText detail::localTimeText(DateTime time) {
    const std::time_t whole = wholeSeconds(time);
    std::tm tm{};
    localtime_r(&whole, &tm);
    // The offset of a broken zone, of 100 hours or more, doesn't fit.
    if (std::abs(tm.tm_gmtoff) >= 100 * secondsPerHour)
        gmtime_r(&whole, &tm);
    LocalTimeText text;
    putOffset(putMoment(text.data(), tm, millisecondsOfSecond(time)), tm.tm_gmtoff);
    // ISO 8601 wants a colon in the offset, as there is one in the time. It stands at a fixed
    // place: with a fourth column of milliseconds it comes one digit early, and the last digit has
    // to go.
    char* const colon = text.data() + 26;
    std::memmove(colon + 1, colon, 2);
    *colon = ':';
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
