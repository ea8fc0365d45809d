#include "support/json-calls.h"

extern "C" {
json_tokener* __real_json_tokener_new();
const char* __real_json_tokener_error_desc(json_tokener_error error);
}

namespace json_calls {

constinit decltype(tokener_new) tokener_new(__real_json_tokener_new);
constinit decltype(tokener_error_desc) tokener_error_desc(__real_json_tokener_error_desc);

} // namespace json_calls

extern "C" {

json_tokener* __wrap_json_tokener_new() {
    return json_calls::tokener_new();
}

const char* __wrap_json_tokener_error_desc(json_tokener_error error) {
    return json_calls::tokener_error_desc(error);
}
}
