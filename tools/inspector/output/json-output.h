#pragma once

#include "inspector/output/finding.h"

#include <rapidjson/filewritestream.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <concepts>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

namespace inspector {

/// One JSON document for machines, written as it comes.
class JsonOutput {
public:
    explicit JsonOutput(std::FILE* file)
        : m_buffer(bufferSize),
          m_stream(file, m_buffer.data(), m_buffer.size()),
          m_writer(m_stream) {}

    void beginObject() { m_writer.StartObject(); }
    void endObject() { m_writer.EndObject(); }
    void beginList() { m_writer.StartArray(); }
    void endList() { m_writer.EndArray(); }
    void key(std::string_view text) { m_writer.Key(text.data(), sizeOf(text)); }
    void value(std::string_view text) { m_writer.String(text.data(), sizeOf(text)); }
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

    template <class T>
    void member(std::string_view name, const T& held) {
        key(name);
        value(held);
    }
    void findings(const Findings& findings);
    /// Ends the document.
    void finish() {
        m_stream.Put('\n');
        m_stream.Flush();
    }

private:
    static constexpr std::size_t bufferSize = 65536;
    static rapidjson::SizeType sizeOf(std::string_view text) {
        return static_cast<rapidjson::SizeType>(text.size());
    }

    std::vector<char> m_buffer;
    rapidjson::FileWriteStream m_stream;
    rapidjson::Writer<rapidjson::FileWriteStream> m_writer;
};

} // namespace inspector
