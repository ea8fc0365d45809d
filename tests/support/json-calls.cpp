#include "support/json-calls.h"

extern "C" {
json_object* __real_json_object_new_int64(std::int64_t value);
int __real_json_object_object_add(json_object* object, const char* key, json_object* value);
const char* __real_json_object_to_json_string_ext(json_object* object, int flags);
json_tokener* __real_json_tokener_new();
const char* __real_json_tokener_error_desc(json_tokener_error error);
json_object* __real_json_tokener_parse_ex(json_tokener* tokener, const char* text, int size);
}

namespace json_calls {

constinit decltype(object_new_int64) object_new_int64(__real_json_object_new_int64);
constinit decltype(object_object_add) object_object_add(__real_json_object_object_add);
constinit decltype(object_to_json_string_ext)
    object_to_json_string_ext(__real_json_object_to_json_string_ext);
constinit decltype(tokener_new) tokener_new(__real_json_tokener_new);
constinit decltype(tokener_error_desc) tokener_error_desc(__real_json_tokener_error_desc);
constinit decltype(tokener_parse_ex) tokener_parse_ex(__real_json_tokener_parse_ex);

} // namespace json_calls

extern "C" {

json_object* __wrap_json_object_new_int64(std::int64_t value) {
    return json_calls::object_new_int64(value);
}

int __wrap_json_object_object_add(json_object* object, const char* key, json_object* value) {
    return json_calls::object_object_add(object, key, value);
}

const char* __wrap_json_object_to_json_string_ext(json_object* object, int flags) {
    return json_calls::object_to_json_string_ext(object, flags);
}

json_tokener* __wrap_json_tokener_new() {
    return json_calls::tokener_new();
}

const char* __wrap_json_tokener_error_desc(json_tokener_error error) {
    return json_calls::tokener_error_desc(error);
}

json_object* __wrap_json_tokener_parse_ex(json_tokener* tokener, const char* text, int size) {
    return json_calls::tokener_parse_ex(tokener, text, size);
}
}
