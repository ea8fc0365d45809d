#include "inspector/log/log-reader.h"

#include "inspector/log/line-end.h"

#include <algorithm>

namespace inspector {
namespace {

/// Beyond these a line is taken for cut, unless its JSON tells how far it reaches.
constexpr std::size_t mostForged = 64;

bool hasLineEnd(std::string_view json) {
    return json.find('\n') != std::string_view::npos ||
           json.find("\\n") != std::string_view::npos ||
           json.find("\\u000") != std::string_view::npos;
}

/// Where the head of another line begins within @p text.
std::size_t findHead(std::string_view text) {
    constexpr std::string_view start = "[20";
    for (std::size_t at = text.find(start); at != std::string_view::npos;
         at = text.find(start, at + 1))
        if (parseLine(text.substr(at)).kind == LineKind::log)
            return at;
    return std::string_view::npos;
}

} // namespace

bool LogReader::next(Line& line) {
    RawLine raw;
    if (!take(raw))
        return false;
    const std::size_t part = m_part;
    line = parseLine(raw.text);
    line.isCut = line.isCut || raw.isCut;
    if (line.kind == LineKind::log && !raw.isCut && !isWhole(line))
        join(line);
    if (line.forged == 0)
        split(line, raw.isCut, part);
    count(line);
    return true;
}

bool LogReader::take(RawLine& raw) {
    m_part = 0;
    if (m_ahead.empty()) {
        if (!m_source.next(raw))
            return false;
        ++m_counts.lines;
        return true;
    }
    Lines& ahead = m_ahead.back();
    const std::size_t end = ahead.text.find('\n', ahead.given);
    const bool isLast = end == std::string::npos;
    m_part = ahead.given == 0 ? ahead.part : 0;
    m_taken.assign(ahead.text, ahead.given, isLast ? end : end - ahead.given);
    raw = {m_taken, isLast && ahead.isCut};
    ahead.given = end + 1;
    if (isLast)
        m_ahead.pop_back();
    return true;
}

void LogReader::keepReply(std::string_view reply, std::size_t kind) {
    m_replies[kind] = reply;
    const auto isHarmless = [](const std::string& x) { return !x.empty() && !hasLineEnd(x); };
    m_mayHoldLineEnds = !std::all_of(m_replies.begin(), m_replies.end() - 1, isHarmless);
}

/// Whether nothing of the line can stand behind it.
bool LogReader::isWhole(const Line& line) {
    if (!mayHoldLineEnd(line))
        return true;
    if (line.isCut)
        return false;
    // What a meter calls itself may hold a line end whatever the server says.
    if (showsRecord(line))
        return (!m_mayHoldLineEnds && !line.text.starts_with("Reading aReading:")) ||
               isBalanced(line.text);
    const auto [kind, json] = replyOf(line);
    if (json.empty() || json == m_replies[kind])
        return true;
    const JsonExtent::State state = jsonState(json);
    if (state == JsonExtent::State::whole)
        keepReply(json, kind);
    return state != JsonExtent::State::open;
}

/// Adds what stands behind the line, up to its end. If that isn't found, the line stays as it is.
void LogReader::join(Line& line) {
    m_joined = line.whole;
    line = parseLine(m_joined);
    const std::size_t size = m_joined.size();
    bool isLastCut = false;
    if (tryJoin(line, isLastCut))
        return;
    if (m_joined.size() > size)
        m_ahead.push_back({m_joined.substr(size + 1), isLastCut, 0});
    m_joined.resize(size);
    line = parseLine(m_joined);
}

bool LogReader::tryJoin(Line& line, bool& isLastCut) {
    LineEnd end(line);
    std::size_t forged = 0;
    RawLine raw;
    while (take(raw)) {
        const bool hasHead = parseLine(raw.text).kind == LineKind::log;
        forged += hasHead ? 1 : 0;
        isLastCut = raw.isCut;
        m_joined.append("\n").append(raw.text);
        // The texts of the line move with the text.
        const Line joined = parseLine(m_joined);
        const bool isEnd = end.isAt(joined, raw.text, hasHead);
        if (raw.isCut || m_joined.size() > Source::longestLine ||
            (!end.isJson() && forged > mostForged))
            return false;
        if (!isEnd)
            continue;
        if (end.isJson())
            keepReply(replyOf(joined).json, replyOf(joined).kind);
        line = joined;
        line.forged = forged;
        return true;
    }
    return false;
}

/// Whether the start of another line within this one, with which @p tail begins, may be a value.
bool LogReader::mayHoldHead(const Line& line, std::string_view tail) const {
    if (line.kind != LineKind::log)
        return false;
    if (const std::string_view message = messageOf(line); !message.empty())
        return !line.isCut && jsonState(message) == JsonExtent::State::whole;
    if (showsRecord(line))
        return !line.isCut && isEndOfRecord(line, parseLine(tail));
    if (!mayHoldLineEnd(line))
        return false;
    const auto [kind, json] = replyOf(line);
    return json.empty() || json == m_replies[kind];
}

/// Leaves of the line what was cut without a line end, and keeps for the next one what follows
/// there.
void LogReader::split(Line& line, bool isTooLong, std::size_t part) {
    const std::size_t skipped = line.kind == LineKind::log ? 1 : 0;
    const std::size_t at = findHead(line.whole.substr(skipped));
    if (at == std::string_view::npos || mayHoldHead(line, line.whole.substr(skipped + at)))
        return;
    line.isCut = true;
    // Each part is copied, and may be joined with all that is behind, again and again.
    constexpr std::size_t mostParts = 16;
    if (part == mostParts)
        return;
    m_joined = line.whole;
    m_ahead.push_back({m_joined.substr(skipped + at), isTooLong, part + 1});
    line = parseLine(std::string_view(m_joined).substr(0, skipped + at));
    line.isCut = true;
}

void LogReader::count(const Line& line) {
    if (line.kind == LineKind::log)
        ++m_counts.ofLog;
    if (line.kind == LineKind::foreign && !line.isCut)
        ++m_counts.foreign;
    if (line.isCut)
        ++m_counts.cut;
    m_counts.forged += line.forged;
}

} // namespace inspector
