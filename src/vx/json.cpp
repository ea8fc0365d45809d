#include "vx/json.h"

#include "vx/exception.h"

#include <cerrno>
#include <cmath>
#include <mutex>
#include <new>
#include <string_view>

namespace vx {
namespace {

/// Guards the buffer inside a json-c object into which its text is rendered.
std::mutex jsonTextMutex;

using Tokener = std::unique_ptr<json_tokener, void (*)(json_tokener*)>;

/// Tells what json-c doesn't: that it found no memory. It goes on without the key or the piece of
/// text then, and what is left looks good. It is told by `errno`, which json-c itself clears at
/// each number that it reads, so for a text that is read it is missed ahead of the last number.
class MemoryWatch {
public:
    MemoryWatch() { errno = 0; }

    /// Throws `std::bad_alloc` if there was none since the construction.
    void requireEnough() const {
        if (errno == ENOMEM)
            throw std::bad_alloc();
    }
};

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
    const MemoryWatch memory;
    json_object* object = json_tokener_parse_ex(tok.get(), text, -1);
    if (object == nullptr)
        throw Exception(strArgs("Failed to parse json. ", errorDescription(tok.get()),
                                " condition:object ", trimFile(__FILE__), ":", __LINE__, " ",
                                logContext()));
    auto fragment = makeJsonFragment(object);
    memory.requireEnough();
    return fragment;
}

std::shared_ptr<json_object> makeJsonFragment(json_object* object) {
    return {object, json_object_put};
}

std::string toJson(const std::shared_ptr<json_object>& fragment) {
    const std::scoped_lock lock(jsonTextMutex);
    const MemoryWatch memory;
    const char* text = json_object_to_json_string_ext(fragment.get(), 0);
    memory.requireEnough();
    return text;
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
        return detail::newJsonFragment(
            json_object_new_string_len(text->data(), static_cast<int>(text->size())));
    if (const auto* flag = std::get_if<bool>(&value))
        return detail::newJsonFragment(json_object_new_boolean(*flag ? 1 : 0));
    if (const auto* number = std::get_if<double>(&value))
        return std::isfinite(*number) ? detail::newJsonFragment(json_object_new_double(*number))
                                      : makeJsonFragment(nullptr);
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
