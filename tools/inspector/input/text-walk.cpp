#include "inspector/input/text-walk.h"

#include "inspector/input/json-reader.h"
#include "inspector/input/pointer.h"
#include "inspector/input/remarks.h"
#include "model/modbus.h"

#include <json-c/json_tokener.h>

#include <algorithm>
#include <string>
#include <utility>

namespace inspector {
namespace {

using Kind = JsonNode::Kind;

/// How deep the daemon's parser goes.
constexpr std::size_t deepest = JSON_TOKENER_DEFAULT_DEPTH - 1;

/// Goes through text and shape side by side.
class Walker : public JsonPlaces<Walker> {
public:
    Walker(std::string_view text, const rapidjson::MemoryStream& stream, std::size_t offset,
           const Shape& shape, bool hasEnvelope, std::string_view document)
        : JsonPlaces(text, stream, offset),
          m_shape(&shape),
          m_hasEnvelope(hasEnvelope),
          m_document(document) {}

    // These names are the reader's.
    // NOLINTBEGIN(readability-identifier-naming)
    bool Null() { return value(Kind::null); }
    bool Bool(bool) { return value(Kind::flag); }
    bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
        const Shape* shape = nextShape();
        if (shape != nullptr && shape->kind == Shape::Kind::integer && !isWhole({text, size}))
            reportAny(onNumber({text, size}, false, *shape));
        return value(Kind::number);
    }
    bool String(const char* text, rapidjson::SizeType size, bool) {
        if (const Shape* shape = nextShape(); shape != nullptr)
            checkText(upToNul(text, size), *shape);
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
    /// What was found in the value of a field.
    struct Found {
        std::uint64_t bit;
        std::size_t begin;
        /// Behind it.
        std::size_t end;
    };

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
        /// A bit for each field whose key was there, and for each that has a value.
        std::uint64_t seen = 0;
        std::uint64_t given = 0;
        /// That of the member that comes next.
        std::uint64_t nextBit = 0;
        /// How many findings there were ahead of that.
        std::size_t findings = 0;
        /// Of the fields whose values have findings.
        std::vector<Found> found = {};
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
        if (m_frames.size() == deepest)
            throw JsonFault{"Nested too deep", 0};
        const Shape* shape = nextShape();
        Frame frame{kind, shape, nextBegin(), isContentNext()};
        if (kind == Kind::list && shape != nullptr && shape->kind == Shape::Kind::list)
            frame.nextShape = shape->element;
        if (frame.isContent)
            walk.content = TextWalk::Content{.kind = kind};
        m_frames.push_back(std::move(frame));
        takeEnd();
        return true;
    }

    bool close() {
        checkField(m_frames.back());
        const std::size_t end = takeEnd();
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
        // The last one counts.
        parent.given &= ~parent.nextBit;
        if (kind != Kind::null)
            parent.given |= parent.nextBit;
        if (parent.nextBit != 0 && walk.findings.size() > parent.findings)
            parent.found.push_back({parent.nextBit, parent.findings, walk.findings.size()});
        ++parent.index;
    }

    /// The one key of a register without which the others mean nothing.
    void checkField(Frame& frame) {
        static const Shape& aRegister = shapeOf<vxModel::ModbusRegister>();
        static const std::uint64_t field = bitOf(aRegister, "fieldType");
        if (frame.shape != &aRegister || (frame.given & field) != 0)
            return;
        frame.key = "fieldType";
        report(onRegisterWithoutField());
        walk.findings.back().offset = frame.begin;
    }

    static std::uint64_t bitOf(const Shape& record, std::string_view key) {
        const auto field = std::find_if(record.fields.begin(), record.fields.end(),
                                        [&](const Shape::Field& x) { return x.key == key; });
        return std::uint64_t{1} << (field - record.fields.begin());
    }

    void checkKey(Frame& frame) {
        frame.nextShape = nullptr;
        frame.nextBit = 0;
        if (frame.shape == nullptr || frame.shape->kind != Shape::Kind::record)
            return;
        const auto& fields = frame.shape->fields;
        const auto isIt = [&](const Shape::Field& x) { return x.key == frame.key; };
        auto field = std::find_if(fields.begin() + static_cast<std::ptrdiff_t>(frame.nextField),
                                  fields.end(), isIt);
        if (field == fields.end())
            field = std::find_if(fields.begin(), fields.end(), isIt);
        if (field == fields.end()) {
            unknownKey(frame);
            return;
        }
        frame.nextShape = field->shape;
        const auto index = static_cast<std::size_t>(field - fields.begin());
        frame.nextField = index + 1;
        const std::uint64_t bit = std::uint64_t{1} << index;
        if ((frame.seen & bit) != 0) {
            dropOfValueBefore(frame.found, bit);
            report(onDuplicateKey(frame.key));
        }
        frame.seen |= bit;
        frame.nextBit = bit;
        frame.findings = walk.findings.size();
    }

    /// The last value of a key counts, so what was found in the one before means nothing. An empty
    /// finding stays in its place, as others are known by theirs.
    void dropOfValueBefore(std::vector<Found>& all, std::uint64_t bit) {
        const auto before =
            std::find_if(all.begin(), all.end(), [&](const Found& x) { return x.bit == bit; });
        if (before == all.end())
            return;
        for (std::size_t i = before->begin; i < before->end; ++i)
            walk.findings[i] = {};
        all.erase(before);
    }

    void unknownKey(const Frame& frame) {
        if (m_hasEnvelope && m_frames.size() == 1)
            reportAny(onKeyOfEnvelope(frame.key));
        else
            report(onUnknownKey(frame.key, *frame.shape));
    }

    void checkText(std::string_view text, const Shape& shape) {
        if (shape.kind == Shape::Kind::enumeration)
            reportAny(onName(text, *shape.names));
        if (shape.kind == Shape::Kind::integer || shape.kind == Shape::Kind::number)
            reportAny(onNumber(std::string(text), true, shape));
    }

    static bool isWhole(std::string_view number) {
        return std::all_of(number.begin(), number.end(),
                           [](char c) { return c == '-' || (c >= '0' && c <= '9'); });
    }

    void reportAny(std::optional<Remark> remark) {
        if (remark)
            report(std::move(*remark));
    }

    /// Of the key or value that comes next.
    std::string pathOfNext() const {
        std::string path;
        for (const Frame& frame : m_frames) {
            path = frame.kind == Kind::object ? pointerTo(path, frame.key)
                                              : pointerTo(path, frame.index);
        }
        return path;
    }

    void report(Remark remark) {
        Reporter(m_document, walk.findings)(remark.name, remark.severity, pathOfNext(),
                                            std::move(remark.message), std::move(remark.remedy));
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
                          ? readJson<Walker, 0, const Shape&, bool&, std::string_view&>
                          : readJson<Walker, rapidjson::kParseNanAndInfFlag, const Shape&, bool&,
                                     std::string_view&>;
    TextWalk walk = read(text, 0, text.size(), shape, hasEnvelope, document).walk;
    std::erase_if(walk.findings, [](const Finding& x) { return x.name.empty(); });
    return walk;
}

} // namespace inspector
