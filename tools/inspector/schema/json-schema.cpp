#include "inspector/schema/json-schema.h"

#include "inspector/daemon/shape.h"
#include "inspector/schema/descriptions.h"
#include "inspector/schema/schema-writer.h"
#include "inspector/schema/value-schema.h"
#include "metering/readings.h"
#include "modbus/config-file.h"
#include "modbus/server-replies.h"

#include <algorithm>
#include <bit>
#include <map>

namespace inspector {
namespace {

/// No message goes out without these; any other key is left out if its value is zero or false.
constexpr std::string_view keysOfEachMessage[] = {"id", "meteringType", "lastChanged"};

bool isOfEachMessage(std::string_view key) {
    return std::find(std::begin(keysOfEachMessage), std::end(keysOfEachMessage), key) !=
           std::end(keysOfEachMessage);
}

/// Such as uint16.
std::string nameOf(const Shape& integer) {
    const int bits = std::popcount(static_cast<std::uint64_t>(integer.most));
    return integer.least < 0 ? "int" + std::to_string(bits + 1) : "uint" + std::to_string(bits);
}

/// Writes the schema of one format.
class FormatSchema {
public:
    FormatSchema(std::string_view format, bool isMessage)
        : m_format(format), m_descriptions(descriptionsOf(format)), m_isMessage(isMessage) {}

    std::string textOf(const Shape& shape) {
        m_writer.beginObject();
        m_writer.member("$schema", "https://json-schema.org/draft/2020-12/schema");
        m_writer.member("$comment", "Written by modbus-inspector schema " + std::string(m_format));
        m_writer.member("title", m_format);
        writeDescription("");
        writeContent(shape, "");
        writeIntegers();
        m_writer.endObject();
        return std::string(m_writer.text()) + "\n";
    }

private:
    void writeDescription(const std::string& path) {
        const auto found = std::find_if(m_descriptions.begin(), m_descriptions.end(),
                                        [&](const Description& x) { return x.path == path; });
        if (found == m_descriptions.end())
            return;
        m_writer.member("description", found->text);
        if (!found->unit.empty())
            m_writer.member("x-unit", found->unit);
        if (!found->constant.empty())
            m_writer.member("const", found->constant);
    }

    void writeContent(const Shape& shape, const std::string& path) {
        if (shape.kind == Shape::Kind::record)
            writeRecord(shape, path);
        else if (shape.kind == Shape::Kind::list)
            writeList(shape, path);
        else if (m_isMessage)
            writeSent(m_writer, shape);
        else if (shape.kind == Shape::Kind::integer)
            writeReference(shape);
        else
            writeTaken(m_writer, shape);
    }

    void writeRecord(const Shape& shape, const std::string& path) {
        writeType("object");
        m_writer.key("properties");
        m_writer.beginObject();
        for (const Shape::Field& field : shape.fields)
            writeField(field, path + "/" + std::string(field.key));
        m_writer.endObject();
        if (m_isMessage)
            writeLimitsOfMessage(shape);
    }

    void writeField(const Shape::Field& field, const std::string& path) {
        m_writer.key(field.key);
        m_writer.beginObject();
        writeDescription(path);
        if (!m_isMessage || !isOfEachMessage(field.key)) {
            m_writer.key("default");
            m_writer.json(field.fallback);
        }
        writeContent(*field.shape, path);
        m_writer.endObject();
    }

    void writeLimitsOfMessage(const Shape& shape) {
        m_writer.key("required");
        m_writer.beginList();
        for (const Shape::Field& field : shape.fields)
            if (isOfEachMessage(field.key))
                m_writer.value(field.key);
        m_writer.endList();
        m_writer.member("additionalProperties", false);
    }

    void writeList(const Shape& shape, const std::string& path) {
        writeType("array");
        m_writer.key("items");
        m_writer.beginObject();
        writeDescription(path + "/*");
        writeContent(*shape.element, path + "/*");
        m_writer.endObject();
    }

    void writeType(const char* name) {
        if (m_isMessage)
            m_writer.member("type", name);
        else
            m_writer.member("type", {name, "null"});
    }

    /// Several keys share the pattern of their range, which is long.
    void writeReference(const Shape& integer) {
        const std::string name = nameOf(integer);
        m_integers.emplace(name, &integer);
        m_writer.member("$ref", "#/$defs/" + name);
    }

    void writeIntegers() {
        if (m_integers.empty())
            return;
        m_writer.key("$defs");
        m_writer.beginObject();
        for (const auto& [name, shape] : m_integers) {
            m_writer.key(name);
            m_writer.beginObject();
            writeTaken(m_writer, *shape);
            m_writer.endObject();
        }
        m_writer.endObject();
    }

    std::string_view m_format;
    const std::vector<Description>& m_descriptions;
    bool m_isMessage;
    SchemaWriter m_writer;
    std::map<std::string, const Shape*> m_integers;
};

const Shape& shapeOfFormat(std::string_view format) {
    static const std::map<std::string_view, const Shape*> shapes = {
        {"supported", &shapeOf<orv::modbusreader::MeterConfigReply>()},
        {"attached", &shapeOf<orv::modbusreader::AttachedMetersReply>()},
        {"serial", &shapeOf<orv::modbusreader::SerialPortConfigReply>()},
        {"config", &shapeOf<orv::modbus::ConfigFile>()},
        {"message", &shapeOf<orv::metering::readings::ModbusMeteringSystem>()}};
    return *shapes.at(format);
}

} // namespace

const std::vector<std::string_view>& formats() {
    static const std::vector<std::string_view> names = {"supported", "attached", "serial", "config",
                                                        "message"};
    return names;
}

std::string schemaOf(std::string_view format) {
    return FormatSchema(format, format == "message").textOf(shapeOfFormat(format));
}

} // namespace inspector
