#pragma once

#include "vx/log.h"

#include <cstdint>
#include <string_view>

namespace inspector {

enum class LineKind {
    /// Of the daemon's logger: it has a time, a thread, a severity, a channel and a text.
    log,
    /// The 33 equal signs of an offer to the metering service.
    rule,
    /// The first line of a failed assertion.
    assertion,
    /// Nothing caught an exception.
    termination,
    /// Anything else.
    foreign,
};

/// A line of a log; its texts belong to whoever has read it. What only a line of the logger has is
/// empty in another one.
struct Line {
    LineKind kind = LineKind::foreign;
    vx::LogSeverity severity = vx::LogSeverity::print;
    /// Its text or its end is missing: the line was longer than what is kept, or it has no position
    /// though its channel writes one.
    bool isCut = false;
    /// Minutes that the written time is ahead of UTC.
    std::int16_t offset = 0;
    std::uint32_t thread = 0;
    /// Where it stands in the source; 0 if it doesn't say.
    std::uint32_t number = 0;
    /// Milliseconds since the epoch.
    std::int64_t time = 0;
    std::string_view channel;
    /// Without the position. With line ends, if a value in it had some.
    std::string_view text;
    std::string_view file;
    /// All of it.
    std::string_view whole;
    /// How many lines with a head of their own stand within the text: values of the server that
    /// were made to look like lines of the daemon.
    std::size_t forged = 0;
};

/// Takes apart one line, without a line end. It may be coloured.
Line parseLine(std::string_view whole);

/// What the line number @p line with @p text would be with @p text instead: cuts the position off
/// it.
void setText(Line& line, std::string_view text);

/// Whether lines of this channel end in their position.
bool writesPosition(std::string_view channel);

} // namespace inspector
