#pragma once

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <initializer_list>
#include <string>
#include <string_view>

namespace inspector {

/// The text of a schema, as it comes, for people as well: lists of names stand in one line.
class SchemaWriter {
public:
    SchemaWriter() {
        m_writer.SetIndent(' ', 2);
        m_writer.SetFormatOptions(rapidjson::kFormatSingleLineArray);
    }

    void beginObject() { m_writer.StartObject(); }
    void endObject() { m_writer.EndObject(); }
    void beginList() { m_writer.StartArray(); }
    void endList() { m_writer.EndArray(); }
    void key(std::string_view name) { m_writer.Key(name.data(), sizeOf(name)); }
    void text(std::string_view value) { m_writer.String(value.data(), sizeOf(value)); }
    void null() { m_writer.Null(); }
    /// A value that is JSON already.
    void json(std::string_view value) {
        m_writer.RawValue(value.data(), value.size(), rapidjson::kObjectType);
    }

    void member(std::string_view name, std::string_view value) {
        key(name);
        text(value);
    }
    void member(std::string_view name, const char* value) { member(name, std::string_view(value)); }
    void member(std::string_view name, bool value) {
        key(name);
        m_writer.Bool(value);
    }
    void member(std::string_view name, std::int64_t value) {
        key(name);
        m_writer.Int64(value);
    }
    void member(std::string_view name, double value) {
        key(name);
        m_writer.Double(value);
    }
    void member(std::string_view name, std::initializer_list<std::string_view> values) {
        key(name);
        beginList();
        for (const std::string_view value : values)
            text(value);
        endList();
    }

    std::string take() const { return m_buffer.GetString() + std::string("\n"); }

private:
    static rapidjson::SizeType sizeOf(std::string_view text) {
        return static_cast<rapidjson::SizeType>(text.size());
    }

    rapidjson::StringBuffer m_buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> m_writer{m_buffer};
};

} // namespace inspector
