#pragma once

#include "vx/str.h"

#include <chrono>
#include <gsl/gsl>
#include <ostream>
#include <string>

// The library marks the span as deprecated; it is the argument's type all the same, and clang says
// so at every mention.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace vx {

/// Moment of the system clock; a signed 64-bit count of nanoseconds since the epoch.
using DateTime = std::chrono::system_clock::time_point;

using CharSpan = gsl::basic_string_span<const char>;

/// The present moment. Where the target's standard library still counts 32-bit seconds, its own
/// clock ends in 2038; this one doesn't.
DateTime now();

/// ISO 8601 in UTC with milliseconds, 24 characters: 2026-11-14T02:24:09.123Z
std::string toString(DateTime time);

/// Reads ISO 8601 in UTC, with or without a fraction, of which milliseconds count. Throws
/// `vx::Exception` for any other form; month and day beyond their end are carried over.
DateTime toDateTime(CharSpan s);

/// ISO 8601 in local time with its offset, 29 characters: 2026-11-14T03:24:09.123+01:00
std::string toLocalMsIsoString(DateTime time);

template <>
struct detail::Str<CharSpan> {
    static void f(std::ostream& stream, CharSpan value) {
        stream.write(value.data(), static_cast<std::streamsize>(value.size()));
    }
};

} // namespace vx

#pragma GCC diagnostic pop
