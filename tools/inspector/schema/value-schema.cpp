#include "inspector/schema/value-schema.h"

#include "inspector/schema/number-patterns.h"

namespace inspector {
namespace {

using Kind = Shape::Kind;

void writeNames(SchemaWriter& writer, const vx::EnumTable& table, bool orNull) {
    writer.key("enum");
    writer.beginList();
    for (const vx::EnumRow* row = table.begin; row != table.end; ++row)
        writer.value(row->name);
    if (orNull)
        writer.null();
    writer.endList();
}

template <class Number>
void writeRange(SchemaWriter& writer, Number least, Number most) {
    writer.member("minimum", least);
    writer.member("maximum", most);
}

void writeNotZero(SchemaWriter& writer) {
    writer.key("not");
    writer.json(R"({"const": 0})");
}

} // namespace

void writeTaken(SchemaWriter& writer, const Shape& shape) {
    switch (shape.kind) {
    case Kind::enumeration:
        writeNames(writer, *shape.names, true);
        break;
    case Kind::integer:
        writer.member("type", {"integer", "string", "null"});
        writeRange(writer, shape.least, shape.most);
        writer.member("pattern", wholeNumberPattern(shape.least, shape.most));
        break;
    case Kind::number:
        writer.member("type", {"number", "string", "null"});
        writeRange(writer, -shape.largest, shape.largest);
        writer.member("pattern", numberPattern());
        break;
    case Kind::flag:
        writer.member("type", {"boolean", "null"});
        break;
    default:
        writer.member("type", {"string", "null"});
    }
}

void writeSent(SchemaWriter& writer, const Shape& shape) {
    switch (shape.kind) {
    case Kind::enumeration:
        writeNames(writer, *shape.names, false);
        break;
    case Kind::integer:
        writer.member("type", "integer");
        writeRange(writer, shape.least, shape.most);
        writeNotZero(writer);
        break;
    case Kind::number:
        // A NaN or an infinity is null.
        writer.member("type", {"number", "null"});
        writeNotZero(writer);
        break;
    case Kind::flag:
        writer.member("const", true);
        break;
    case Kind::moment:
        writer.member("type", "string");
        writer.member("format", "date-time");
        // Many validators look at no format.
        writer.member("pattern",
                      R"(^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}Z$)");
        break;
    default:
        writer.member("type", "string");
        writer.member("minLength", 1);
    }
}

} // namespace inspector
