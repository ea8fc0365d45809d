#pragma once

#include "inspector/log/line-end.h"
#include "inspector/log/line.h"
#include "inspector/log/source.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// Gives the lines of a log as the daemon wrote them.
///
/// A value of the local server may hold line ends, which the log shows as they are: a reply that is
/// laid out on many lines, or one that was made to look as if the daemon had written other lines.
/// So a line whose position is missing is joined with those behind it up to the position, and a
/// reply up to the end of its JSON, whatever stands in between. What doesn't come to an end so was
/// cut. The body of a failure that isn't JSON has no end that one could tell: if it ends in what
/// looks like a line of the daemon, that is taken for one.
class LogReader {
public:
    /// How many lines of each kind were given. A line of the log may be several in the file.
    struct Counts {
        std::size_t lines = 0;
        std::size_t ofLog = 0;
        std::size_t foreign = 0;
        std::size_t cut = 0;
        /// Those that stand within another line.
        std::size_t forged = 0;
    };

    explicit LogReader(Source& source) : m_source(source) {}

    /// Gives the next line, whose texts last until the next call; false at the end.
    bool next(Line& line);
    const Counts& counts() const { return m_counts; }

private:
    /// Lines of the file.
    struct Lines {
        std::string text;
        /// Of the last one.
        bool isCut = false;
        /// So many parts of the first one were given before.
        std::size_t part = 0;
        /// So many bytes were given again.
        std::size_t given = 0;
    };

    bool take(RawLine& raw);
    bool isWhole(const Line& line);
    void keepReply(std::string_view reply, std::size_t kind);
    void join(Line& line);
    bool tryJoin(Line& line, bool& isLastCut);
    bool mayHoldHead(const Line& line, std::string_view tail) const;
    void split(Line& line, bool isTooLong, std::size_t part);
    void count(const Line& line);

    Source& m_source;
    /// Lines that were looked at, and are to be given yet; the last ones first.
    std::vector<Lines> m_ahead;
    /// How many parts of the line that was taken last were given before.
    std::size_t m_part = 0;
    /// Hold the texts of the last line that was given, if they are not the source's.
    std::string m_taken;
    std::string m_joined;
    /// The last whole replies of each kind, which come again and again.
    std::array<std::string, replyKinds> m_replies;
    /// Whether values of the server may hold line ends, so that lines with values need a closer
    /// look.
    bool m_mayHoldLineEnds = true;
    Counts m_counts;
};

} // namespace inspector
