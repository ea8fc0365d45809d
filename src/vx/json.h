#pragma once

#include "vx/str.h"

#include <json-c/json.h>

#include <memory>
#include <ostream>
#include <string>
#include <variant>

// A JSON fragment is a `std::shared_ptr<json_object>` that owns exactly one reference to its
// object. An empty pointer is a valid fragment and stands for JSON null, as in json-c.

namespace vx {

/// Fragment of the first JSON value in @p text; what follows that value is ignored. The text
/// "null" gives an empty pointer. Throws if there is no value.
std::shared_ptr<json_object> parseJsonFragment(const char* text);

/// Takes over one reference to @p object.
std::shared_ptr<json_object> makeJsonFragment(json_object* object);

/// Text of a fragment, without blanks and line breaks. Safe to call for one tree from two threads.
std::string toJson(const std::shared_ptr<json_object>& fragment);

/// Reading of one kind of value; the second parameter is for conditional specialisation. `call`
/// gets a value that may be null only where a kind gives null a meaning.
template <class T, class Enable = void>
struct FromJson;

/// Writing of one kind of value.
template <class T, class Enable = void>
struct ToJsonFragment;

/// A primitive JSON value; index 0 means null.
using JsonPrimitive = std::variant<std::monostate, std::string, double, bool>;

template <>
struct FromJson<JsonPrimitive> {
    static JsonPrimitive call(json_object* json);
};

template <>
struct ToJsonFragment<JsonPrimitive> {
    static std::shared_ptr<json_object> call(const JsonPrimitive& value);
};

namespace detail {

template <>
struct Str<std::shared_ptr<json_object>> {
    static void f(std::ostream& stream, const std::shared_ptr<json_object>& fragment) {
        stream << toJson(fragment);
    }
};

} // namespace detail
} // namespace vx

/// Deep comparison by json-c's rules.
bool operator==(const std::shared_ptr<json_object>& left,
                const std::shared_ptr<json_object>& right);
bool operator!=(const std::shared_ptr<json_object>& left,
                const std::shared_ptr<json_object>& right);
std::ostream& operator<<(std::ostream& stream, const std::shared_ptr<json_object>& fragment);
