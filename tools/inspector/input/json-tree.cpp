#include "inspector/input/json-tree.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <utility>

namespace inspector {
namespace {

/// What the reader finds goes into the innermost list or object that is open. It tells the end of
/// each value; one begins where only blanks and signs stand between it and what came before.
class TreeBuilder {
public:
    TreeBuilder(std::string_view text, const rapidjson::MemoryStream& stream, std::size_t offset,
                std::size_t levels)
        : m_text(text), m_stream(stream), m_offset(offset), m_levels(levels) {}

    using Ch = char;
    using Kind = JsonNode::Kind;
    // These names are the reader's.
    // NOLINTBEGIN(readability-identifier-naming)
    bool Null() { return value(Kind::null); }
    bool Bool(bool) { return value(Kind::flag); }
    bool Int(int) { return value(Kind::number); }
    bool Uint(unsigned) { return value(Kind::number); }
    bool Int64(std::int64_t) { return value(Kind::number); }
    bool Uint64(std::uint64_t) { return value(Kind::number); }
    bool Double(double) { return value(Kind::number); }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return value(Kind::number); }
    bool String(const char* text, rapidjson::SizeType size, bool) {
        return value(Kind::text, {text, size});
    }
    bool StartObject() { return open(Kind::object); }
    bool StartArray() { return open(Kind::list); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        m_keyBegin = nextBegin();
        if (m_depth <= m_levels)
            m_key.assign(text, size);
        m_lastEnd = here();
        return true;
    }
    // NOLINTEND(readability-identifier-naming)

    JsonTree tree;

private:
    std::size_t here() const { return m_offset + m_stream.Tell(); }

    /// The reader tells of brackets ahead of taking them.
    std::size_t behindBracket() const { return here() + 1; }

    std::size_t nextBegin() const {
        return std::min(m_text.find_first_not_of(" \t\r\n,:", m_lastEnd), m_text.size());
    }

    JsonNode begun(Kind kind) {
        JsonNode node{.kind = kind, .begin = nextBegin(), .keyBegin = m_keyBegin};
        node.key = std::exchange(m_key, {});
        return node;
    }

    bool value(Kind kind, std::string_view text = {}) {
        const std::size_t end = here();
        if (m_depth <= m_levels) {
            JsonNode node = begun(kind);
            node.text = text;
            m_lastEnd = end;
            add(std::move(node));
        }
        m_lastEnd = end;
        return true;
    }

    bool open(Kind kind) {
        if (m_depth <= m_levels)
            m_open.push_back(begun(kind));
        ++m_depth;
        tree.depth = std::max(tree.depth, m_depth);
        m_lastEnd = behindBracket();
        return true;
    }

    bool close() {
        --m_depth;
        m_lastEnd = behindBracket();
        if (m_depth <= m_levels) {
            JsonNode node = std::move(m_open.back());
            m_open.pop_back();
            add(std::move(node));
        }
        return true;
    }

    void add(JsonNode node) {
        node.end = m_lastEnd;
        if (m_open.empty())
            tree.root = std::move(node);
        else
            m_open.back().children.push_back(std::move(node));
    }

    std::string_view m_text;
    const rapidjson::MemoryStream& m_stream;
    std::size_t m_offset;
    std::size_t m_levels;
    std::size_t m_depth = 0;
    std::vector<JsonNode> m_open = {};
    std::string m_key = {};
    std::size_t m_keyBegin = 0;
    std::size_t m_lastEnd = m_offset;
};

JsonTree parse(std::string_view text, std::size_t begin, std::size_t end, std::size_t levels) {
    // Without recursion, however deep a text nests. Numbers stay texts: the daemon reads them.
    constexpr unsigned flags = rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseIterativeFlag |
                               rapidjson::kParseNumbersAsStringsFlag;
    rapidjson::MemoryStream stream(text.data() + begin, end - begin);
    TreeBuilder builder(text, stream, begin, levels);
    rapidjson::Reader reader;
    const rapidjson::ParseResult result = reader.Parse<flags>(stream, builder);
    if (!result)
        throw JsonFault{rapidjson::GetParseError_En(result.Code()), begin + result.Offset()};
    return std::move(builder.tree);
}

} // namespace

const JsonNode* JsonNode::member(std::string_view name) const {
    if (kind != Kind::object)
        return nullptr;
    const auto found = std::find_if(children.rbegin(), children.rend(),
                                    [&](const JsonNode& child) { return child.key == name; });
    return found == children.rend() ? nullptr : &*found;
}

JsonTree parseJson(std::string_view text, std::size_t levels) {
    return parse(text, 0, text.size(), levels);
}

JsonTree parseJsonAt(std::string_view text, std::size_t begin, std::size_t end) {
    return parse(text, begin, end, static_cast<std::size_t>(-1));
}

TextPlace placeOf(std::string_view text, std::size_t offset) {
    const std::string_view ahead = text.substr(0, offset);
    const std::size_t lineEnd = ahead.rfind('\n');
    const std::string_view line =
        lineEnd == std::string_view::npos ? ahead : ahead.substr(lineEnd + 1);
    const auto isFirstByte = [](char c) { return (c & 0xC0) != 0x80; };
    return {1 + static_cast<std::size_t>(std::count(ahead.begin(), ahead.end(), '\n')),
            1 + static_cast<std::size_t>(std::count_if(line.begin(), line.end(), isFirstByte))};
}

} // namespace inspector
