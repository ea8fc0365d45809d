#pragma once

#include "inspector/output/safe-text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

namespace inspector {

/// JSON, written as it comes by a writer of rapidjson. Texts may have any bytes.
template <class Writer>
class JsonText {
public:
    /// One document, to a file.
    explicit JsonText(std::FILE* file) : m_file(file) {}
    /// A text, which is kept.
    JsonText() = default;

    void beginObject() { m_writer.StartObject(); }
    void endObject() {
        m_writer.EndObject();
        if (m_file != nullptr && m_text.GetSize() > mostKept)
            flush();
    }
    void beginList() { m_writer.StartArray(); }
    void endList() { m_writer.EndArray(); }
    void key(std::string_view text) { m_writer.Key(text.data(), sizeOf(text)); }
    void value(std::string_view text) {
        if (isPlain(text))
            m_writer.String(text.data(), sizeOf(text));
        else
            valueOfAnyBytes(text);
    }
    void value(const char* text) { value(std::string_view(text)); }
    void value(const std::string& text) { value(std::string_view(text)); }
    void value(bool flag) { m_writer.Bool(flag); }
    void value(std::integral auto number) { m_writer.Int64(static_cast<std::int64_t>(number)); }
    /// What JSON has no number for is null.
    void value(double number) {
        if (std::isfinite(number))
            m_writer.Double(number);
        else
            m_writer.Null();
    }
    void null() { m_writer.Null(); }
    /// A value that is JSON already.
    void json(std::string_view text) {
        // Behind an empty one, as the writer copies character by character.
        m_writer.RawValue("", 0, rapidjson::kObjectType);
        std::copy(text.begin(), text.end(), m_text.Push(text.size()));
    }

    template <class T>
    void member(std::string_view name, const T& held) {
        key(name);
        value(held);
    }
    void member(std::string_view name, std::initializer_list<std::string_view> texts) {
        key(name);
        beginList();
        for (const std::string_view text : texts)
            value(text);
        endList();
    }
    /// Ends the document of a file.
    void finish() {
        m_text.Put('\n');
        flush();
    }

    /// What is kept of it.
    std::string_view text() const { return {m_text.GetString(), m_text.GetSize()}; }

protected:
    Writer& writer() { return m_writer; }

private:
    static constexpr std::size_t mostKept = 65536;
    static rapidjson::SizeType sizeOf(std::string_view text) {
        return static_cast<rapidjson::SizeType>(text.size());
    }
    void valueOfAnyBytes(std::string_view text) {
        const std::string clean = utf8Of(text);
        m_writer.String(clean.data(), sizeOf(clean));
    }
    void flush() {
        std::fwrite(m_text.GetString(), 1, m_text.GetSize(), m_file);
        m_text.Clear();
    }

    std::FILE* m_file = nullptr;
    rapidjson::StringBuffer m_text;
    Writer m_writer{m_text};
};

/// JSON for machines.
using JsonOutput = JsonText<rapidjson::Writer<rapidjson::StringBuffer>>;

} // namespace inspector
