#pragma once

#include "inspector/log/json-extent.h"
#include "inspector/log/line.h"

#include <cstddef>
#include <string_view>

// Values of the local server, and the serial of a meter, may hold line ends, which the log shows as
// they are.

namespace inspector {

/// A reply of the local server that a line shows.
struct Reply {
    /// Its place among the kinds of replies.
    std::size_t kind = 0;
    /// Empty if the line shows none, or one that isn't JSON.
    std::string_view json;
};

constexpr std::size_t replyKinds = 4;

Reply replyOf(const Line& line);

/// The message that a line shows; empty if it shows none.
std::string_view messageOf(const Line& line);

/// Whether the line shows values of the local server, or the serial of a meter, as the daemon
/// writes records.
bool showsRecord(const Line& line);

/// Whether a value with a line end may stand in the line.
bool mayHoldLineEnd(const Line& line);

/// Whether each bracket of a record's text has its counterpart. Values stand there without quotes,
/// so one of them may hold some of its own.
bool isBalanced(std::string_view text);

/// Whether @p tail, in which a line that shows a record ends, is the end of that record, though it
/// looks like a line of its own.
bool isEndOfRecord(const Line& line, const Line& tail);

/// Of the whole of a text; broken also if something stands behind its end.
JsonExtent::State jsonState(std::string_view text);

/// Finds the last one of the lines of the file on which one line of the log stands, looking at each
/// once.
class LineEnd {
public:
    explicit LineEnd(const Line& start);

    /// Whether the line is whole now that @p piece was added, which made it @p joined. @p hasHead:
    /// the piece looks like a line of its own.
    bool isAt(const Line& joined, std::string_view piece, bool hasHead);
    /// Whether its JSON tells where it ends. Else only a piece without a head can be the end, which
    /// a text that isn't JSON can forge.
    bool isJson() const { return m_isJson; }

private:
    JsonExtent m_extent;
    bool m_isJson;
    bool m_isRecord;
    std::ptrdiff_t m_balance;
};

} // namespace inspector
