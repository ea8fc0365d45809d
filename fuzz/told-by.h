#pragma once

#include <json-c/json.h>

#include <string>

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

} // namespace fuzz
