#pragma once

#include "vx/str.h"

#include <json-c/json.h>

#include <memory>
#include <ostream>
#include <string>
#include <variant>

// A JSON fragment is a `std::shared_ptr<json_object>` that owns exactly one reference to its
// object. An empty pointer is a valid fragment and stands for JSON null, as in json-c. Values of
// C++ become fragments and come from them by `toJsonFragment` and `fromJson` of vx/record.h.

namespace vx {

/// Fragment of the first JSON value in @p text, which is not null; what follows that value is
/// ignored. Exactly the text "null" gives an empty pointer; with a blank or a line end around it,
/// it counts as no value. Throws `vx::Exception` "Failed to parse json." with json-c's reason if
/// there is no value.
std::shared_ptr<json_object> parseJsonFragment(const char* text);

/// Takes over one reference to @p object, so the caller doesn't release it. Null gives null.
std::shared_ptr<json_object> makeJsonFragment(json_object* object);

/// Text of a fragment, without blanks and line breaks; "null" for an empty pointer. Two threads may
/// call it for one tree at once, as long as none changes the tree.
std::string toJson(const std::shared_ptr<json_object>& fragment);

/// Reading of one kind of value. Specialised here and in vx/record.h; a type that is none of these
/// kinds gets a specialisation with `static T call(json_object*)`, which throws `vx::Exception` for
/// a value of another kind. Its argument is not null, unless the kind gives null a meaning, and
/// still belongs to the caller. The second parameter is for conditional specialisation.
template <class T, class Enable = void>
struct FromJson;

/// Writing of one kind of value: `static std::shared_ptr<json_object> call(const T&)`, which makes
/// a new fragment.
template <class T, class Enable = void>
struct ToJsonFragment;

/// A primitive JSON value; index 0 means null. All numbers are `double`. Reading throws
/// `vx::Exception` for an object or an array; a NaN or an infinity is written as null.
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

/// In messages a fragment is its JSON text.
template <>
struct Str<std::shared_ptr<json_object>> {
    static void f(std::ostream& stream, const std::shared_ptr<json_object>& fragment) {
        writeText(stream, toJson(fragment));
    }
};

} // namespace detail
} // namespace vx

/// Deep comparison by json-c's rules instead of one of addresses: 1 and 1.0 differ, the order of
/// keys doesn't matter.
bool operator==(const std::shared_ptr<json_object>& left,
                const std::shared_ptr<json_object>& right);
bool operator!=(const std::shared_ptr<json_object>& left,
                const std::shared_ptr<json_object>& right);
std::ostream& operator<<(std::ostream& stream, const std::shared_ptr<json_object>& fragment);
