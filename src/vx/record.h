#pragma once

#include "vx/date-time.h"
#include "vx/enum.h"
#include "vx/exception.h"
#include "vx/identifier.h"
#include "vx/json.h"
#include "vx/log-context.h"

#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

// A reflected record is a struct with member defaults that names its fields once, by VX_FIELDS,
// and gets its text form and both directions of its JSON conversion from that list:
//
//     struct Point {
//         int x = 0;
//         int y = 0;
//
//         bool operator==(const Point&) const = default;
//         VX_FIELDS(Point, x, y)
//     };
//
// A field that equals the value-initialised value of its type is not written, whatever the default
// of its member is: absence means zero, and no key is required on reading.

namespace vx {

/// Key and texts by which the alternatives of a variant are told apart in JSON: `key` is the key,
/// `alternatives` holds one text per alternative, the first one empty.
template <class V>
struct JsonVariantTraits;

namespace detail {

struct AnyVisitor {
    template <class M, M>
    void operator()(const char*) {}
};

template <class T>
concept Record = requires(AnyVisitor& visitor) {
    T::visitFields(visitor);
};

template <class T>
concept AlternativesVariant = requires {
    JsonVariantTraits<T>::key;
};

template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool>;

/// Whether a field with this value is left out, of the JSON as well as of the text.
template <class T>
bool isLeftOut(const T& value) {
    return value == T{};
}

} // namespace detail

/// Value of @p json; a null pointer gives a value-initialised one with its member defaults.
template <class T>
T fromJson(json_object* json) {
    return json == nullptr ? T{} : FromJson<T>::call(json);
}

/// Parses and converts a whole text.
template <class T>
T fromJson(const char* text) {
    return fromJson<T>(parseJsonFragment(text).get());
}

template <>
inline std::shared_ptr<json_object> fromJson<std::shared_ptr<json_object>>(const char* text) {
    return parseJsonFragment(text);
}

/// New fragment of @p value.
template <class T>
std::shared_ptr<json_object> toJsonFragment(const T& value) {
    return ToJsonFragment<T>::call(value);
}

// Reading

template <>
struct FromJson<bool> {
    static bool call(json_object* json) {
        const json_type type = json_object_get_type(json);
        VX_THROW_UNLESS(type == json_type_boolean, "Expecting json boolen.", type);
        return json_object_get_boolean(json) != 0;
    }
};

namespace detail {

inline void requireNumber(json_object* json) {
    const json_type type = json_object_get_type(json);
    VX_THROW_UNLESS(type == json_type_string || type == json_type_int || type == json_type_double,
                    "Expecting json number / string.", type);
}

template <class T, class U>
T narrow(U u) {
    const T t = static_cast<T>(u);
    VX_THROW_UNLESS(static_cast<U>(t) == u && (t < 0) == (u < 0), "Narrowing error.", t, u);
    return t;
}

} // namespace detail

template <detail::Integer T>
struct FromJson<T> {
    static T call(json_object* json) {
        detail::requireNumber(json);
        return detail::narrow<T, std::int64_t>(json_object_get_int64(json));
    }
};

template <std::floating_point T>
struct FromJson<T> {
    static T call(json_object* json) {
        detail::requireNumber(json);
        return static_cast<T>(json_object_get_double(json));
    }
};

template <>
struct FromJson<std::string> {
    static std::string call(json_object* json) {
        const json_type type = json_object_get_type(json);
        VX_THROW_UNLESS(type == json_type_string, "Expecting json string", type);
        return json_object_get_string(json);
    }
};

template <class Tag>
struct FromJson<Identifier<Tag>> {
    static Identifier<Tag> call(json_object* json) {
        return Identifier<Tag>(FromJson<std::string>::call(json));
    }
};

template <NamedEnum T>
struct FromJson<T> {
    static T call(json_object* json) {
        const json_type jsonType = json_object_get_type(json);
        VX_THROW_UNLESS(jsonType == json_type_string, "Expecting json string.", jsonType);
        return toEnum<T>(json_object_get_string(json));
    }
};

template <>
struct FromJson<DateTime> {
    static DateTime call(json_object* json) {
        const std::string text = FromJson<std::string>::call(json);
        return toDateTime(text);
    }
};

template <>
struct FromJson<std::optional<double>> {
    static std::optional<double> call(json_object* json) { return FromJson<double>::call(json); }
};

template <class T>
struct FromJson<std::vector<T>> {
    static std::vector<T> call(json_object* json) {
        const json_type jsonType = json_object_get_type(json);
        VX_THROW_UNLESS(jsonType == json_type_array, "Expecting json array.", jsonType);
        const std::size_t size = json_object_array_length(json);
        std::vector<T> result;
        result.reserve(size);
        for (std::size_t index = 0; index < size; ++index) {
            const detail::LogContextImpl frame(
                [&](std::ostream& stream) { stream << "/ " << index << ' '; });
            result.push_back(fromJson<T>(json_object_array_get_idx(json, index)));
        }
        return result;
    }
};

template <detail::Record R>
struct FromJson<R> {
    struct Visitor {
        R& record;
        json_object* json;

        template <class M, M member>
        void operator()(const char* key) {
            const detail::LogContextImpl frame(
                [key](std::ostream& stream) { stream << "/ " << key << ' '; });
            json_object* value = nullptr;
            json_object_object_get_ex(json, key, &value);
            if (json_object_get_type(value) == json_type_null)
                return;
            using Field = std::remove_reference_t<decltype(record.*member)>;
            record.*member = FromJson<Field>::call(value);
        }
    };

    static R call(json_object* json) {
        const json_type jsonType = json_object_get_type(json);
        VX_THROW_UNLESS(jsonType == json_type_object, "Expecting json object.", jsonType);
        R record{};
        Visitor visitor{record, json};
        R::visitFields(visitor);
        return record;
    }
};

namespace detail {

/// Reads the alternative @p index if its text is @p text; otherwise tries the ones of lower index.
template <class V, std::size_t index = std::variant_size_v<V> - 1>
V readAlternative(json_object* json, const std::string& text) {
    if constexpr (index == 0) {
        return {};
    } else {
        if (text == JsonVariantTraits<V>::alternatives[index])
            return fromJson<std::variant_alternative_t<index, V>>(json);
        return readAlternative<V, index - 1>(json, text);
    }
}

} // namespace detail

template <detail::AlternativesVariant V>
struct FromJson<V> {
    static V call(json_object* json) {
        json_object* discriminator = nullptr;
        json_object_object_get_ex(json, JsonVariantTraits<V>::key, &discriminator);
        if (json_object_get_type(discriminator) == json_type_null)
            return {};
        return detail::readAlternative<V>(json, FromJson<std::string>::call(discriminator));
    }
};

// Writing

template <>
struct ToJsonFragment<bool> {
    static std::shared_ptr<json_object> call(bool value) {
        return makeJsonFragment(json_object_new_boolean(value ? 1 : 0));
    }
};

template <detail::Integer T>
struct ToJsonFragment<T> {
    static std::shared_ptr<json_object> call(T value) {
        return makeJsonFragment(json_object_new_int64(value));
    }
};

template <std::floating_point T>
struct ToJsonFragment<T> {
    static std::shared_ptr<json_object> call(double value) {
        return makeJsonFragment(std::isfinite(value) ? json_object_new_double(value) : nullptr);
    }
};

template <>
struct ToJsonFragment<std::string> {
    static std::shared_ptr<json_object> call(const std::string& value) {
        return makeJsonFragment(
            json_object_new_string_len(value.data(), static_cast<int>(value.size())));
    }
};

template <class Tag>
struct ToJsonFragment<Identifier<Tag>> {
    static std::shared_ptr<json_object> call(const Identifier<Tag>& value) {
        return ToJsonFragment<std::string>::call(value.text());
    }
};

template <NamedEnum T>
struct ToJsonFragment<T> {
    static std::shared_ptr<json_object> call(T value) {
        return makeJsonFragment(json_object_new_string(fromEnum<std::string>(value).c_str()));
    }
};

template <>
struct ToJsonFragment<DateTime> {
    static std::shared_ptr<json_object> call(DateTime value) {
        return makeJsonFragment(json_object_new_string(toString(value).c_str()));
    }
};

template <>
struct ToJsonFragment<std::optional<double>> {
    static std::shared_ptr<json_object> call(const std::optional<double>& value) {
        return value ? ToJsonFragment<double>::call(*value) : nullptr;
    }
};

template <>
struct ToJsonFragment<std::monostate> {
    static std::shared_ptr<json_object> call(std::monostate) { return nullptr; }
};

template <class T>
struct ToJsonFragment<std::vector<T>> {
    static std::shared_ptr<json_object> call(const std::vector<T>& values) {
        auto result = makeJsonFragment(json_object_new_array());
        std::size_t index = 0;
        const detail::LogContextImpl frame(
            [&](std::ostream& stream) { stream << "/ " << index << ' '; });
        for (const T& value : values) {
            const auto fragment = toJsonFragment<T>(value);
            json_object_array_add(result.get(), json_object_get(fragment.get()));
            ++index;
        }
        return result;
    }
};

template <detail::Record R>
struct ToJsonFragment<R> {
    struct Visitor {
        const std::shared_ptr<json_object>& target;
        const R& record;

        template <class M, M member>
        void operator()(const char* key) {
            const detail::LogContextImpl frame(
                [key](std::ostream& stream) { stream << "/ " << key << ' '; });
            if (detail::isLeftOut(record.*member))
                return;
            const auto fragment = toJsonFragment(record.*member);
            json_object_object_add(target.get(), key, json_object_get(fragment.get()));
        }
    };

    static std::shared_ptr<json_object> call(const R& record) {
        auto result = makeJsonFragment(json_object_new_object());
        Visitor visitor{result, record};
        R::visitFields(visitor);
        return result;
    }
};

template <detail::AlternativesVariant V>
struct ToJsonFragment<V> {
    static std::shared_ptr<json_object> call(const V& value) {
        auto result = std::visit([](const auto& held) { return toJsonFragment(held); }, value);
        if (!result)
            return result;
        const std::string traitAlternative = JsonVariantTraits<V>::alternatives[value.index()];
        json_object* discriminator = nullptr;
        json_object_object_get_ex(result.get(), JsonVariantTraits<V>::key, &discriminator);
        const char* text = json_object_get_string(discriminator);
        const std::string alternative = text == nullptr ? "" : text;
        VX_THROW_UNLESS(traitAlternative == alternative,
                        "Invalid alternative value for given altenative type", traitAlternative,
                        alternative);
        return result;
    }
};

// Text form, for logs and not for parsing: nothing is quoted or escaped.

namespace detail {

/// The form of most kinds is the one that messages have.
template <class T, class Enable = void>
struct TextForm {
    static void write(std::ostream& stream, const T& value) { detail::write(stream, value); }
};

template <>
struct TextForm<DateTime> {
    static void write(std::ostream& stream, DateTime value) { stream << toString(value); }
};

template <>
struct TextForm<std::optional<double>> {
    static void write(std::ostream& stream, const std::optional<double>& value) {
        if (value)
            stream << *value;
        else
            stream << "null";
    }
};

template <class T>
struct TextForm<std::vector<T>> {
    static void write(std::ostream& stream, const std::vector<T>& values) {
        stream << '[';
        const char* separator = "";
        for (const T& value : values) {
            stream << separator;
            TextForm<T>::write(stream, value);
            separator = ",";
        }
        stream << ']';
    }
};

template <AlternativesVariant V>
struct TextForm<V> {
    static void write(std::ostream& stream, const V& value) {
        stream << '{' << value.index() << ':';
        std::visit([&stream](const auto& held) { detail::write(stream, held); }, value);
        stream << '}';
    }
};

/// A list of values as an item of a message.
template <class T>
struct Str<std::vector<T>> {
    static void f(std::ostream& stream, const std::vector<T>& values) {
        TextForm<std::vector<T>>::write(stream, values);
    }
};

template <class R>
struct TextVisitor {
    std::ostream& stream;
    const R& record;
    bool nothingWritten = true;

    template <class M, M member>
    void operator()(const char* key) {
        if (isLeftOut(record.*member))
            return;
        stream << (nothingWritten ? "\"" : ",\"") << key << "\":";
        using Field = std::remove_cvref_t<decltype(record.*member)>;
        TextForm<Field>::write(stream, record.*member);
        nothingWritten = false;
    }
};

} // namespace detail

/// Writes the text form of a record.
template <class R>
std::ostream& reflectedOstream(std::ostream& stream, const R& record) {
    stream << '{';
    detail::TextVisitor<R> visitor{stream, record};
    R::visitFields(visitor);
    return stream << '}';
}

} // namespace vx

/// The field list of a record: its type and its members, in the order of all its forms. The key of
/// a field is its name.
#define VX_FIELDS(R, ...)                                                                          \
    template <class VxVisitor>                                                                     \
    static void visitFields(VxVisitor& vxVisitor) {                                                \
        using VxRecord = R;                                                                        \
        VX_FOR_EACH(VX_FIELD, __VA_ARGS__)                                                         \
    }                                                                                              \
    [[maybe_unused]] friend std::ostream& operator<<(std::ostream& vxStream, const R& vxRecord) {  \
        return ::vx::reflectedOstream(vxStream, vxRecord);                                         \
    }
#define VX_FIELD(member)                                                                           \
    vxVisitor.template operator()<decltype(&VxRecord::member), &VxRecord::member>(#member);
