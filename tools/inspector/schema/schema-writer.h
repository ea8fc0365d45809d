#pragma once

#include "inspector/output/json-output.h"

#include <rapidjson/prettywriter.h>

namespace inspector {

/// The text of a schema, for people as well: lists of names stand in one line.
class SchemaWriter : public JsonText<rapidjson::PrettyWriter<rapidjson::StringBuffer>> {
public:
    SchemaWriter() {
        writer().SetIndent(' ', 2);
        writer().SetFormatOptions(rapidjson::kFormatSingleLineArray);
    }
};

} // namespace inspector
