#include "inspector/schema/json-schema.h"

#include "inspector/daemon/shape.h"
#include "inspector/schema/descriptions.h"
#include "metering/readings.h"
#include "modbus/config-file.h"
#include "modbus/server-replies.h"
#include "vx/json.h"

#include <algorithm>
#include <map>
#include <memory>

namespace inspector {
namespace {

using Fragment = std::shared_ptr<json_object>;

Fragment object() {
    return vx::makeJsonFragment(json_object_new_object());
}

void add(const Fragment& target, const char* key, const Fragment& value) {
    json_object_object_add(target.get(), key, json_object_get(value.get()));
}

void add(const Fragment& target, const char* key, std::string_view text) {
    add(target, key, vx::toJsonFragment(std::string(text)));
}

Fragment listOf(const std::vector<std::string>& texts) {
    return vx::toJsonFragment(texts);
}

/// Makes the schema of one format.
class Schema {
public:
    Schema(std::string_view format, bool isMessage)
        : m_descriptions(descriptionsOf(format)), m_isMessage(isMessage) {}

    Fragment of(const Shape& shape, const std::string& path) const {
        const Fragment schema = object();
        describe(schema, path);
        switch (shape.kind) {
        case Shape::Kind::record:
            addRecord(schema, shape, path);
            break;
        case Shape::Kind::list:
            addType(schema, {"array"});
            add(schema, "items", of(*shape.element, path + "/*"));
            break;
        case Shape::Kind::enumeration:
            addNames(schema, *shape.names);
            break;
        case Shape::Kind::integer:
            addInteger(schema, shape);
            break;
        case Shape::Kind::number:
            // A NaN or an infinity is null in a message too.
            addType(schema, m_isMessage ? std::vector<std::string>{"number", "null"}
                                        : std::vector<std::string>{"number", "string"});
            break;
        case Shape::Kind::flag:
            addType(schema, {"boolean"});
            break;
        case Shape::Kind::moment:
            addType(schema, {"string"});
            add(schema, "format", "date-time");
            break;
        case Shape::Kind::text:
            addType(schema, {"string"});
            break;
        }
        return schema;
    }

private:
    void describe(const Fragment& schema, const std::string& path) const {
        const auto found = std::find_if(m_descriptions.begin(), m_descriptions.end(),
                                        [&](const Description& x) { return x.path == path; });
        if (found == m_descriptions.end())
            return;
        add(schema, "description", found->text);
        if (!found->unit.empty())
            add(schema, "x-unit", found->unit);
    }

    void addRecord(const Fragment& schema, const Shape& shape, const std::string& path) const {
        addType(schema, {"object"});
        const Fragment properties = object();
        for (const Shape::Field& field : shape.fields) {
            const std::string key(field.key);
            const Fragment property = of(*field.shape, path + "/" + key);
            const bool isLeaf = field.shape->kind != Shape::Kind::record &&
                                field.shape->kind != Shape::Kind::list &&
                                field.shape->kind != Shape::Kind::moment;
            if (isLeaf)
                add(property, "default", vx::parseJsonFragment(field.fallback.c_str()));
            add(properties, key.c_str(), property);
        }
        add(schema, "properties", properties);
        if (m_isMessage)
            add(schema, "additionalProperties", vx::toJsonFragment(false));
    }

    /// Null is as good as absent in what the daemon reads.
    void addType(const Fragment& schema, std::vector<std::string> types) const {
        if (!m_isMessage)
            types.emplace_back("null");
        if (types.size() == 1)
            add(schema, "type", types.front());
        else
            add(schema, "type", listOf(types));
    }

    void addNames(const Fragment& schema, const vx::EnumTable& table) const {
        const Fragment names = vx::makeJsonFragment(json_object_new_array());
        for (const vx::EnumRow* row = table.begin; row != table.end; ++row)
            json_object_array_add(names.get(),
                                  json_object_new_string(std::string(row->name).c_str()));
        if (!m_isMessage)
            json_object_array_add(names.get(), nullptr);
        add(schema, "enum", names);
    }

    void addInteger(const Fragment& schema, const Shape& shape) const {
        addType(schema, m_isMessage ? std::vector<std::string>{"integer"}
                                    : std::vector<std::string>{"integer", "string"});
        add(schema, "minimum", vx::toJsonFragment(shape.least));
        add(schema, "maximum", vx::toJsonFragment(shape.most));
        if (!m_isMessage)
            add(schema, "pattern", "^ *[-+]?[0-9]+$");
    }

    const std::vector<Description>& m_descriptions;
    bool m_isMessage;
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
    const Fragment schema = object();
    add(schema, "$schema", "https://json-schema.org/draft/2020-12/schema");
    add(schema, "title", format);
    const Fragment whole = Schema(format, format == "message").of(shapeOfFormat(format), "");
    json_object_object_foreach(whole.get(), key, value) {
        json_object_object_add(schema.get(), key, json_object_get(value));
    }
    return json_object_to_json_string_ext(schema.get(), JSON_C_TO_STRING_PRETTY |
                                                            JSON_C_TO_STRING_SPACED |
                                                            JSON_C_TO_STRING_NOSLASHESCAPE) +
           std::string("\n");
}

} // namespace inspector
