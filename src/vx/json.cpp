#include "vx/json.h"

#include "vx/exception.h"

#include <cmath>
#include <mutex>
#include <string_view>

namespace vx {
namespace {

/// Guards the buffer inside a json-c object into which its text is rendered.
std::mutex jsonTextMutex;

using Tokener = std::unique_ptr<json_tokener, void (*)(json_tokener*)>;

/// json-c's reason for a failed parse.
const char* errorDescription(json_tokener* tok) {
    return json_tokener_error_desc(json_tokener_get_error(tok));
}

} // namespace

std::shared_ptr<json_object> parseJsonFragment(const char* text) {
    const Tokener tok(json_tokener_new(), json_tokener_free);
    VX_THROW_UNLESS(tok);
    // For this text json-c gives a null pointer, as it does for a failure.
    if (std::string_view(text) == "null")
        return nullptr;
    json_object* object = json_tokener_parse_ex(tok.get(), text, -1);
    if (object == nullptr)
        throw Exception(strArgs("Failed to parse json. ", errorDescription(tok.get()),
                                " condition:object ", trimFile(__FILE__), ":", __LINE__, " ",
                                logContext()));
    return makeJsonFragment(object);
}

std::shared_ptr<json_object> makeJsonFragment(json_object* object) {
    return {object, json_object_put};
}

std::string toJson(const std::shared_ptr<json_object>& fragment) {
    const std::scoped_lock lock(jsonTextMutex);
    return json_object_to_json_string_ext(fragment.get(), 0);
}

JsonPrimitive FromJson<JsonPrimitive>::call(json_object* json) {
    const json_type type = json_object_get_type(json);
    switch (type) {
    case json_type_null:
        return {};
    case json_type_boolean:
        return json_object_get_boolean(json) != 0;
    case json_type_double:
    case json_type_int:
        return json_object_get_double(json);
    case json_type_string:
        return std::string(json_object_get_string(json));
    case json_type_object:
    case json_type_array:
        break;
    }
    VX_THROW("Expecting json primitive value.", type);
}

std::shared_ptr<json_object> ToJsonFragment<JsonPrimitive>::call(const JsonPrimitive& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return makeJsonFragment(
            json_object_new_string_len(text->data(), static_cast<int>(text->size())));
    if (const auto* flag = std::get_if<bool>(&value))
        return makeJsonFragment(json_object_new_boolean(*flag ? 1 : 0));
    if (const auto* number = std::get_if<double>(&value))
        return makeJsonFragment(std::isfinite(*number) ? json_object_new_double(*number) : nullptr);
    return nullptr;
}

} // namespace vx

bool operator==(const std::shared_ptr<json_object>& left,
                const std::shared_ptr<json_object>& right) {
    return json_object_equal(left.get(), right.get()) != 0;
}

bool operator!=(const std::shared_ptr<json_object>& left,
                const std::shared_ptr<json_object>& right) {
    return !(left == right);
}

std::ostream& operator<<(std::ostream& stream, const std::shared_ptr<json_object>& fragment) {
    return stream << vx::toJson(fragment);
}
