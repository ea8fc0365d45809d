#include "inspector/input/text-walk.h"

#include "inspector/input/json-reader.h"
#include "inspector/input/nearest.h"
#include "inspector/input/pointer.h"

#include <algorithm>
#include <string>
#include <utility>

namespace inspector {
namespace {

using Kind = JsonNode::Kind;

/// Goes through text and shape side by side.
class Walker : public JsonPlaces {
public:
    Walker(std::string_view text, const rapidjson::MemoryStream& stream, std::size_t offset,
           const Shape& shape, bool hasEnvelope, std::string_view document)
        : JsonPlaces(text, stream, offset),
          m_shape(&shape),
          m_hasEnvelope(hasEnvelope),
          m_document(document) {}

    using Ch = char;
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
        const Shape* shape = nextShape();
        if (shape != nullptr && shape->kind == Shape::Kind::enumeration)
            checkName(upToNul(text, size), *shape->names);
        return value(Kind::text);
    }
    bool StartObject() { return open(Kind::object); }
    bool StartArray() { return open(Kind::list); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        Frame& frame = m_frames.back();
        frame.key = upToNul(text, size);
        checkKey(frame);
        takeEnd();
        return true;
    }
    // NOLINTEND(readability-identifier-naming)

    TextWalk walk;

private:
    /// An object or a list that is open.
    struct Frame {
        Kind kind;
        /// Null for what the daemon doesn't know.
        const Shape* shape;
        std::size_t begin;
        bool isContent;
        /// Of the member or element that comes next.
        const Shape* nextShape = nullptr;
        /// Of the shape, behind the one whose key came last: keys mostly come in the same order.
        std::size_t nextField = 0;
        std::string key = {};
        std::size_t index = 0;
        /// A bit for each field whose key was there.
        std::uint64_t seen = 0;
    };

    const Shape* nextShape() const {
        return m_frames.empty() ? m_shape : m_frames.back().nextShape;
    }

    /// Whether the next value is what the document is about.
    bool isContentNext() const {
        return m_hasEnvelope ? m_frames.size() == 1 && m_frames[0].key == "data" : m_frames.empty();
    }

    bool value(Kind kind) {
        const std::size_t begin = nextBegin();
        tell(kind, isContentNext(), {begin, takeEnd()});
        return true;
    }

    bool open(Kind kind) {
        const Shape* shape = nextShape();
        Frame frame{kind, shape, nextBegin(), isContentNext()};
        if (kind == Kind::list && shape != nullptr && shape->kind == Shape::Kind::list)
            frame.nextShape = shape->element;
        if (frame.isContent)
            walk.content = TextWalk::Content{.kind = kind};
        m_frames.push_back(std::move(frame));
        walk.depth = std::max(walk.depth, m_frames.size());
        takeBracketEnd();
        return true;
    }

    bool close() {
        const std::size_t end = takeBracketEnd();
        const Frame frame = std::move(m_frames.back());
        m_frames.pop_back();
        tell(frame.kind, frame.isContent, {frame.begin, end});
        return true;
    }

    /// A value is whole.
    void tell(Kind kind, bool isContent, TextRange range) {
        if (isContent) {
            if (kind < Kind::list)
                walk.content = TextWalk::Content{.kind = kind};
            walk.content->range = range;
        }
        if (m_frames.empty()) {
            walk.root = range;
            walk.rootKind = kind;
            return;
        }
        Frame& parent = m_frames.back();
        if (parent.isContent && parent.kind == Kind::list)
            walk.content->elements.push_back(range);
        ++parent.index;
    }

    void checkKey(Frame& frame) {
        frame.nextShape = nullptr;
        if (frame.shape == nullptr || frame.shape->kind != Shape::Kind::record)
            return;
        const auto& fields = frame.shape->fields;
        const auto isIt = [&](const Shape::Field& x) { return x.key == frame.key; };
        auto field = std::find_if(fields.begin() + static_cast<std::ptrdiff_t>(frame.nextField),
                                  fields.end(), isIt);
        if (field == fields.end())
            field = std::find_if(fields.begin(), fields.end(), isIt);
        if (field == fields.end()) {
            if (!m_hasEnvelope || m_frames.size() > 1)
                unknownKey(frame);
            return;
        }
        frame.nextShape = field->shape;
        const auto index = static_cast<std::size_t>(field - fields.begin());
        frame.nextField = index + 1;
        const std::uint64_t bit = std::uint64_t{1} << index;
        if ((frame.seen & bit) != 0)
            report("duplicate-key", Severity::warning,
                   "The key " + quoted(frame.key) +
                       " stands here more than once, and the daemon takes the last.",
                   "Keep one of them.");
        frame.seen |= bit;
    }

    void unknownKey(const Frame& frame) {
        std::vector<std::string_view> known;
        for (const Shape::Field& field : frame.shape->fields)
            known.push_back(field.key);
        report("unknown-key", Severity::warning,
               "The daemon knows no key " + quoted(frame.key) + " here and ignores it.",
               "Did you mean " + quoted(nearest(frame.key, known)) + "? Else delete it.");
    }

    void checkName(std::string_view name, const vx::EnumTable& table) {
        const auto isIt = [&](const vx::EnumRow& row) { return row.name == name; };
        if (std::any_of(table.begin, table.end, isIt))
            return;
        std::vector<std::string_view> known;
        std::string_view zero;
        for (const vx::EnumRow* row = table.begin; row != table.end; ++row) {
            known.push_back(row->name);
            if (row->value == 0)
                zero = row->name;
        }
        report("unknown-name", Severity::error,
               "The daemon doesn't know the name " + quoted(name) + " and takes " + quoted(zero) +
                   " instead, its value 0.",
               "Did you mean " + quoted(nearest(name, known)) + "?");
    }

    /// Of the key or value that comes next.
    void report(std::string_view name, Severity severity, std::string message, std::string remedy) {
        std::string path;
        for (const Frame& frame : m_frames)
            path = frame.kind == Kind::object ? pointerTo(path, frame.key)
                                              : pointerTo(path, frame.index);
        Reporter(m_document, walk.findings)(name, severity, std::move(path), std::move(message),
                                            std::move(remedy));
        walk.findings.back().offset = nextBegin();
    }

    const Shape* m_shape;
    bool m_hasEnvelope;
    std::string_view m_document;
    std::vector<Frame> m_frames = {};
};

} // namespace

TextWalk walkText(std::string_view text, const Shape& shape, bool hasEnvelope,
                  std::string_view document, Letter letter) {
    const auto read = letter == Letter::ofJson
                          ? readJson<Walker, 0, const Shape&, bool, std::string_view>
                          : readJson<Walker, rapidjson::kParseNanAndInfFlag, const Shape&, bool,
                                     std::string_view>;
    return read(text, 0, text.size(), shape, std::move(hasEnvelope), std::move(document)).walk;
}

} // namespace inspector
