#pragma once

#include "vx/str.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <gsl/gsl>
#include <ostream>
#include <string>

// The library marks the span as deprecated; it is the argument's type all the same, and clang says
// so at every mention.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace vx {

/// Moment of the system clock; a signed 64-bit count of nanoseconds since 1970 in UTC, which
/// reaches from 1677 to 2262.
using DateTime = std::chrono::system_clock::time_point;

/// Text that is not copied and needs no NUL at its end. A `std::string` converts to it.
using CharSpan = gsl::basic_string_span<const char>;

/// The present moment. Where the target's standard library still counts 32-bit seconds, its own
/// clock ends in 2038; this one doesn't.
DateTime now();

// The texts are meant for moments from 1970 on. Before that the milliseconds have a sign of their
// own.

/// ISO 8601 in UTC with milliseconds, 24 characters: 2026-11-14T02:24:09.123Z
/// What is below a millisecond is cut off.
std::string toString(DateTime time);

/// Reads ISO 8601 in UTC with or without a fraction: 2009-01-02T09:00:00Z, 2009-01-02T09:00:00.123Z
/// Three digits of the fraction count; what stands between them and the "Z" is ignored. A month,
/// day or time of day beyond its end is carried over, so a 13th month is the next January. Throws
/// `vx::Exception` for any other form and for a year before 1900 or a month 0. A year that
/// `DateTime` can't reach wraps around.
DateTime toDateTime(CharSpan s);

/// ISO 8601 in local time with its offset, 29 characters: 2026-11-14T03:24:09.123+01:00
/// In UTC if the offset of the time zone doesn't fit.
std::string toLocalMsIsoString(DateTime time);

namespace detail {

/// The text of `toLocalMsIsoString`, without an allocation.
using LocalTimeText = std::array<char, 29>;
LocalTimeText localTimeText(DateTime time);

} // namespace detail

/// In messages a span is its text.
template <>
struct detail::Str<CharSpan> {
    static void f(std::ostream& stream, CharSpan value) {
        writeText(stream, {value.data(), static_cast<std::size_t>(value.size())});
    }
};

} // namespace vx

#pragma GCC diagnostic pop
