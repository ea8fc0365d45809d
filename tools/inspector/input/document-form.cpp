#include "inspector/input/document-form.h"

#include "inspector/input/json-reader.h"

#include <algorithm>

namespace inspector {
namespace {

bool hasKey(const Shape* shape, std::string_view key) {
    return shape != nullptr &&
           std::any_of(shape->fields.begin(), shape->fields.end(),
                       [&](const Shape::Field& field) { return field.key == key; });
}

/// Deeper than the daemon's parser goes: of such a text nothing is taken, whatever its form.
constexpr int deepestLookedAt = 64;

/// Ends the reading as soon as the form is known.
class FormReader : public JsonPlaces<FormReader> {
public:
    FormReader(std::string_view text, const rapidjson::MemoryStream& stream, std::size_t offset,
               const DocumentKind& kind)
        : JsonPlaces(text, stream, offset), m_kind(kind) {}

    using Form = Document::Form;
    // These names are the reader's.
    // NOLINTBEGIN(readability-identifier-naming)
    bool Default() const { return m_depth > 0; }
    bool StartObject() { return m_depth++ < deepestLookedAt; }
    bool StartArray() {
        if (m_depth++ > 0)
            return m_depth <= deepestLookedAt;
        if (m_kind.content->kind == Shape::Kind::list)
            form = Form::content;
        return false;
    }
    bool EndObject(rapidjson::SizeType) { return --m_depth > 0; }
    bool EndArray(rapidjson::SizeType) { return --m_depth > 0; }
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        const std::string_view key = upToNul(text, size);
        if (m_depth > 1)
            return true;
        if (key == "data") {
            form = Form::whole;
            return false;
        }
        if (hasKey(m_kind.content, key))
            form = Form::content;
        if (hasKey(m_kind.single, key))
            form = Form::single;
        return true;
    }
    // NOLINTEND(readability-identifier-naming)

    Form form = Form::whole;

private:
    const DocumentKind& m_kind;
    int m_depth = 0;
};

} // namespace

Document::Form formOf(std::string_view text, const DocumentKind& kind) {
    if (kind.content == nullptr)
        return Document::Form::whole;
    try {
        // No number tells the form.
        return readJson<FormReader, rapidjson::kParseNanAndInfFlag>(text, 0, text.size(), kind)
            .form;
    } catch (const JsonFault&) {
        return Document::Form::whole;
    }
}

} // namespace inspector
