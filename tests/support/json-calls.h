#pragma once

#include "support/stand-in.h"

#include <cstdint>
#include <json-c/json_object.h>
#include <json-c/json_tokener.h>

/// Functions of json-c, under their names without "json_".
namespace json_calls {

extern StandIn<json_object*(std::int64_t value)> object_new_int64;
extern StandIn<int(json_object* object, const char* key, json_object* value)> object_object_add;
extern StandIn<const char*(json_object* object, int flags)> object_to_json_string_ext;
extern StandIn<json_tokener*()> tokener_new;
extern StandIn<const char*(json_tokener_error error)> tokener_error_desc;
extern StandIn<json_object*(json_tokener* tokener, const char* text, int size)> tokener_parse_ex;

} // namespace json_calls
