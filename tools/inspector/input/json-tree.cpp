#include "inspector/input/json-tree.h"

#include "inspector/input/json-reader.h"

#include <algorithm>
#include <utility>

namespace inspector {
namespace {

/// Deeper than the daemon's parser goes. A tree is taken down by recursion.
constexpr std::size_t deepestTree = 64;

/// What the reader finds goes into the innermost list or object that is open.
class TreeBuilder : public JsonPlaces<TreeBuilder> {
public:
    using JsonPlaces::JsonPlaces;

    using Kind = JsonNode::Kind;
    // These names are the reader's.
    // NOLINTBEGIN(readability-identifier-naming)
    bool Null() { return value(Kind::null); }
    bool Bool(bool) { return value(Kind::flag); }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return value(Kind::number); }
    bool String(const char*, rapidjson::SizeType, bool) { return value(Kind::text); }
    bool StartObject() { return open(Kind::object); }
    bool StartArray() { return open(Kind::list); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        m_keyBegin = nextBegin();
        m_key = upToNul(text, size);
        takeEnd();
        return true;
    }
    // NOLINTEND(readability-identifier-naming)

    JsonNode root;

private:
    JsonNode begun(Kind kind) {
        JsonNode node{.kind = kind, .begin = nextBegin(), .keyBegin = m_keyBegin};
        node.key = std::exchange(m_key, {});
        return node;
    }

    bool value(Kind kind) {
        JsonNode node = begun(kind);
        node.end = takeEnd();
        add(std::move(node));
        return true;
    }

    bool open(Kind kind) {
        if (m_open.size() == deepestTree)
            throw JsonFault{"It is nested too deep.", nextBegin()};
        m_open.push_back(begun(kind));
        takeEnd();
        return true;
    }

    bool close() {
        JsonNode node = std::move(m_open.back());
        m_open.pop_back();
        node.end = takeEnd();
        add(std::move(node));
        return true;
    }

    void add(JsonNode node) {
        if (m_open.empty())
            root = std::move(node);
        else
            m_open.back().children.push_back(std::move(node));
    }

    std::vector<JsonNode> m_open = {};
    std::string m_key = {};
    std::size_t m_keyBegin = 0;
};

} // namespace

const JsonNode* JsonNode::member(std::string_view name) const {
    if (kind != Kind::object)
        return nullptr;
    const auto found = std::find_if(children.rbegin(), children.rend(),
                                    [&](const JsonNode& child) { return child.key == name; });
    return found == children.rend() ? nullptr : &*found;
}

JsonNode parseJson(std::string_view text) {
    return parseJsonAt(text, 0, text.size());
}

JsonNode parseJsonAt(std::string_view text, std::size_t begin, std::size_t end) {
    return readJson<TreeBuilder>(text, begin, end).root;
}

} // namespace inspector
