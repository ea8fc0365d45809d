#include "inspector/log/line-end.h"

#include <algorithm>
#include <array>

namespace inspector {
namespace {

/// The starts of lines that show a reply of the local server.
constexpr std::array<std::string_view, 4> replyStarts = {
    "result:", "Attached Meters result:", "Supported Meters result:",
    "Error requesting from server "};

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Whether a bracket is closed there that was opened ahead of it.
bool closesAnother(std::string_view text) {
    std::ptrdiff_t depth = 0;
    for (const char c : text) {
        depth += c == '{' ? 1 : 0;
        depth -= c == '}' ? 1 : 0;
        if (depth < 0)
            return true;
    }
    return false;
}

std::ptrdiff_t balanceOf(std::string_view text) {
    return std::count(text.begin(), text.end(), '{') - std::count(text.begin(), text.end(), '}');
}

/// From where its JSON begins to its end, whatever looks like a position there.
std::string_view wholeReplyOf(const Line& line) {
    const std::string_view json = replyOf(line).json;
    return json.empty()
               ? json
               : line.whole.substr(static_cast<std::size_t>(json.data() - line.whole.data()));
}

} // namespace

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

bool showsRecord(const Line& line) {
    constexpr std::array<std::string_view, 6> starts = {
        "Reading aReading:", "Reading meter ", "querySerial", "doReconnect", "meter:", "config:"};
    return line.channel == "modbusSerial" &&
           std::any_of(starts.begin(), starts.end(),
                       [&](std::string_view start) { return line.text.starts_with(start); });
}

std::string_view messageOf(const Line& line) {
    constexpr std::string_view start = "Writing  m_buffer:";
    const bool isMessage =
        line.channel == "modbusreaderSocketWriter" && line.text.starts_with(start);
    return isMessage ? line.text.substr(start.size()) : std::string_view();
}

bool mayHoldLineEnd(const Line& line) {
    if (line.channel == "modbusSerial") {
        return showsRecord(line) || line.text.starts_with("Could not convert") ||
               line.text.starts_with("Comparison") ||
               std::any_of(replyStarts.begin(), replyStarts.end(),
                           [&](std::string_view start) { return line.text.starts_with(start); });
    }
    return line.channel.starts_with("vx") || line.channel == "orvMODBUSConfigFile";
}

bool isBalanced(std::string_view text) {
    return balanceOf(text) == 0;
}

bool isEndOfRecord(const Line& line, const Line& tail) {
    if (!line.text.ends_with('}'))
        return false;
    // A value may open a bracket, too; but these members stand in such lines alone.
    struct Member {
        std::string_view start;
        std::string_view member;
    };
    constexpr std::array<Member, 2> members = {
        {{"Reading aReading:", "\"meteringType\":modbus"}, {"Reading meter meter:", " config:{"}}};
    return closesAnother(tail.text) ||
           std::any_of(members.begin(), members.end(), [&](const Member& x) {
               return line.text.starts_with(x.start) && !tail.text.starts_with(x.start) &&
                      tail.text.find(x.member) != std::string_view::npos;
           });
}

JsonExtent::State jsonState(std::string_view text) {
    JsonExtent extent;
    extent.add(text);
    const bool isFollowed =
        extent.state() == JsonExtent::State::whole && !isBlank(text.substr(extent.size()));
    return isFollowed ? JsonExtent::State::broken : extent.state();
}

LineEnd::LineEnd(const Line& start)
    : m_isJson(!replyOf(start).json.empty()),
      m_isRecord(showsRecord(start)),
      m_balance(balanceOf(start.whole)) {
    m_extent.add(wholeReplyOf(start));
}

bool LineEnd::isAt(const Line& joined, std::string_view piece, bool hasHead) {
    const bool wasBalanced = m_balance == 0;
    m_balance += balanceOf(piece);
    m_extent.add("\n");
    m_extent.add(piece);
    if (m_isRecord)
        return !joined.isCut && m_balance == 0 && !(hasHead && wasBalanced);
    if (m_isJson && m_extent.state() == JsonExtent::State::open)
        return false;
    m_isJson = m_isJson && m_extent.state() == JsonExtent::State::whole &&
               isBlank(replyOf(joined).json.substr(m_extent.size()));
    return !joined.isCut && (m_isJson || !hasHead);
}

} // namespace inspector
