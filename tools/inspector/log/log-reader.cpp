#include "inspector/log/log-reader.h"

#include "inspector/log/json-extent.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace inspector {
namespace {

/// Beyond these a line is taken for cut.
constexpr std::size_t mostForged = 64;
constexpr std::size_t mostPieces = 100000;

/// The starts of lines that show a reply of the local server.
constexpr std::array<std::string_view, 4> replyStarts = {
    "result:", "Attached Meters result:", "Supported Meters result:",
    "Error requesting from server "};

struct Reply {
    /// Its place among the starts.
    std::size_t kind = 0;
    /// Empty if the line shows none, or one that isn't JSON.
    std::string_view json;
};

Reply replyOf(const Line& line) {
    if (line.channel != "modbusSerial")
        return {};
    for (std::size_t kind = 0; kind < replyStarts.size(); ++kind) {
        if (!line.text.starts_with(replyStarts[kind]))
            continue;
        constexpr std::string_view key = "result:";
        const std::size_t at = line.text.find(key);
        if (at == std::string_view::npos)
            return {kind, {}};
        const std::string_view reply = line.text.substr(at + key.size());
        const bool isJson = reply.starts_with('{') || reply.starts_with('[');
        return {kind, isJson ? reply : std::string_view()};
    }
    return {};
}

/// Whether the line shows values of the local server, or the serial of a meter, as the daemon
/// writes records.
bool showsRecord(const Line& line) {
    constexpr std::array<std::string_view, 6> starts = {
        "Reading aReading:", "Reading meter ", "querySerial", "doReconnect", "meter:", "config:"};
    return line.channel == "modbusSerial" &&
           std::any_of(starts.begin(), starts.end(),
                       [&](std::string_view start) { return line.text.starts_with(start); });
}

/// Whether a value with a line end may stand in the line.
bool mayHoldLineEnd(const Line& line) {
    if (line.channel == "modbusSerial") {
        return showsRecord(line) || line.text.starts_with("Could not convert") ||
               line.text.starts_with("Comparison") ||
               std::any_of(replyStarts.begin(), replyStarts.end(),
                           [&](std::string_view start) { return line.text.starts_with(start); });
    }
    return line.channel.starts_with("vx") || line.channel == "orvMODBUSConfigFile";
}

/// Whether each bracket of a record's text has its counterpart. Values stand there without quotes,
/// so one of them may hold some of its own.
bool isBalanced(std::string_view text) {
    return std::count(text.begin(), text.end(), '{') == std::count(text.begin(), text.end(), '}');
}

bool isWholeJson(std::string_view text) {
    JsonExtent extent;
    extent.add(text);
    return extent.state() == JsonExtent::State::whole &&
           text.find_first_not_of(" \t\r\n", extent.size()) == std::string_view::npos;
}

bool isOpenJson(std::string_view text) {
    JsonExtent extent;
    extent.add(text);
    return extent.state() == JsonExtent::State::open;
}

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
    line = parseLine(raw.text);
    line.isCut = line.isCut || raw.isCut;
    if (line.kind == LineKind::log && !raw.isCut && !isWhole(line))
        join(line);
    if (line.forged == 0)
        split(line, raw.isCut);
    count(line);
    return true;
}

bool LogReader::take(RawLine& raw) {
    if (m_ahead.empty()) {
        if (!m_source.next(raw))
            return false;
        ++m_counts.lines;
        return true;
    }
    m_taken = std::move(m_ahead.front().text);
    raw = {m_taken, m_ahead.front().isCut};
    m_ahead.pop_front();
    return true;
}

void LogReader::putBack(std::vector<Piece> pieces) {
    m_ahead.insert(m_ahead.begin(), std::make_move_iterator(pieces.begin()),
                   std::make_move_iterator(pieces.end()));
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
    if (showsRecord(line))
        return !m_mayHoldLineEnds || isBalanced(line.text);
    const auto [kind, json] = replyOf(line);
    if (json.empty() || json == m_replies[kind])
        return true;
    if (isWholeJson(json))
        keepReply(json, kind);
    return !isOpenJson(json);
}

/// Adds what stands behind the line, up to its end. If that isn't found, the line stays as it is.
void LogReader::join(Line& line) {
    m_joined = line.whole;
    line = parseLine(m_joined);
    std::vector<Piece> pieces;
    if (!tryJoin(line, pieces))
        putBack(std::move(pieces));
}

bool LogReader::tryJoin(Line& line, std::vector<Piece>& pieces) {
    const std::size_t size = line.whole.size();
    const bool isRecord = showsRecord(line);
    const bool isJson = !replyOf(line).json.empty();
    std::size_t forged = 0;
    RawLine raw;
    // The texts of the line move with the text.
    while (pieces.size() < mostPieces && take(raw)) {
        const bool wasBalanced = !isRecord || isBalanced(m_joined);
        pieces.push_back({std::string(raw.text), raw.isCut});
        const Line piece = parseLine(raw.text);
        const bool hasHead = piece.kind == LineKind::log;
        forged += hasHead ? 1 : 0;
        if (raw.isCut || forged > mostForged ||
            m_joined.size() + raw.text.size() > Source::longestLine)
            break;
        m_joined.append("\n").append(raw.text);
        Line joined = parseLine(m_joined);
        if (joined.isCut)
            continue;
        const auto [kind, json] = replyOf(joined);
        const bool isEnd = isJson     ? isWholeJson(json)
                           : isRecord ? isBalanced(joined.text) && !(hasHead && wasBalanced)
                                      : !hasHead;
        if (isEnd) {
            if (isJson)
                keepReply(json, kind);
            line = joined;
            line.forged = forged;
            return true;
        }
        if (isJson && !isOpenJson(json))
            break;
    }
    m_joined.resize(size);
    line = parseLine(m_joined);
    return false;
}

/// Whether the start of another line within this one may be a value.
bool LogReader::mayHoldHead(const Line& line) const {
    if (line.kind != LineKind::log || !mayHoldLineEnd(line))
        return false;
    const auto [kind, json] = replyOf(line);
    if (!json.empty())
        return json == m_replies[kind];
    return !showsRecord(line) ||
           (isBalanced(line.text) && line.text.find('{') != std::string_view::npos);
}

/// Leaves of the line what was cut without a line end, and keeps for the next one what follows
/// there.
void LogReader::split(Line& line, bool isTooLong) {
    const std::size_t skipped = line.kind == LineKind::log ? 1 : 0;
    const std::size_t at = findHead(line.whole.substr(skipped));
    if (at == std::string_view::npos || mayHoldHead(line))
        return;
    line.isCut = true;
    // Of a longer one each part would be copied again and again.
    constexpr std::size_t longest = std::size_t{1} << 18;
    if (line.whole.size() > longest)
        return;
    m_joined = line.whole;
    std::vector<Piece> rest;
    rest.push_back({m_joined.substr(skipped + at), isTooLong});
    putBack(std::move(rest));
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
