#pragma once

#include "vx/record.h"

#include <json-c/json.h>

#include <cmath>
#include <concepts>
#include <string>
#include <vector>

namespace fuzz {

/// Whether @p input, the JSON that a record was read from, tells all that @p written does, the JSON
/// that was made of the record: the same texts, booleans, whole numbers and, in single precision,
/// others under the same keys. A number in the form of a text may have been rounded or cut; what
/// the input lacks is a default.
inline bool isToldBy(json_object* written, json_object* input) {
    switch (json_object_get_type(written)) {
    case json_type_object: {
        json_object_object_foreach(written, key, value) {
            json_object* told = nullptr;
            json_object_object_get_ex(input, key, &told);
            if (told != nullptr && !isToldBy(value, told))
                return false;
        }
        return true;
    }
    case json_type_array: {
        const std::size_t size = json_object_array_length(written);
        if (json_object_get_type(input) != json_type_array ||
            json_object_array_length(input) != size)
            return false;
        for (std::size_t i = 0; i < size; ++i)
            if (!isToldBy(json_object_array_get_idx(written, i),
                          json_object_array_get_idx(input, i)))
                return false;
        return true;
    }
    case json_type_string:
        return std::string(json_object_get_string(written)) == json_object_get_string(input);
    case json_type_boolean:
        return json_object_get_boolean(written) == json_object_get_boolean(input);
    case json_type_int:
        return json_object_get_type(input) != json_type_int ||
               json_object_get_int64(written) == json_object_get_int64(input);
    case json_type_double:
        return json_object_get_type(input) == json_type_string ||
               static_cast<float>(json_object_get_double(written)) ==
                   static_cast<float>(json_object_get_double(input));
    default:
        return true;
    }
}

/// Whether @p told may be read as a zero or empty value of the type `T`. A text may be a number
/// that is none, or a name that isn't known.
template <class T>
bool isNothing(json_object* told) {
    switch (json_object_get_type(told)) {
    case json_type_boolean:
        return json_object_get_boolean(told) == 0;
    case json_type_int:
        return json_object_get_int64(told) == 0;
    case json_type_double:
        return std::integral<T> ? std::abs(json_object_get_double(told)) < 1
                                : static_cast<float>(json_object_get_double(told)) == 0;
    case json_type_string:
        return !std::same_as<T, std::string> || *json_object_get_string(told) == '\0';
    default:
        return true;
    }
}

template <class T>
bool isTaken(const T& value, json_object* told);

template <class R>
struct TakenVisitor {
    const R& record;
    json_object* told;
    bool isWhole = true;

    template <class M, M member>
    void operator()(const char* key) {
        json_object* part = nullptr;
        json_object_object_get_ex(told, key, &part);
        isWhole = isWhole && (part == nullptr || isTaken(record.*member, part));
    }
};

/// Whether @p value has something of all that @p told tells, which it was read from.
template <class T>
bool isTaken(const T& value, json_object* told) {
    if constexpr (vx::detail::Record<T>) {
        TakenVisitor<T> visitor{value, told};
        T::visitFields(visitor);
        return visitor.isWhole;
    } else if constexpr (requires { typename T::value_type; } && !std::same_as<T, std::string>) {
        for (std::size_t i = 0; i < value.size(); ++i)
            if (!isTaken(value[i], json_object_array_get_idx(told, i)))
                return false;
        return true;
    } else {
        return !vx::detail::isLeftOut(value) || isNothing<T>(told);
    }
}

} // namespace fuzz
