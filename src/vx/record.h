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
// and then
//
//     vx::fromJson<Point>(R"({"x": 3, "z": 1})")     // Point{3, 0}
//     vx::toJson(vx::toJsonFragment(Point{3, 0}))     // {"x":3}
//     vx::str("at ", Point{3, 0})                     // at {"x":3}
//
// A member may be a bool, a number, a string, an Identifier, a named enumeration, a DateTime, an
// optional double, a JsonPrimitive, another record, a vector of any of these, or a variant of
// records with JsonVariantTraits. Further kinds specialise FromJson and ToJsonFragment.
//
// A field whose value is zero, empty or false (`T{}` of its type) is not written, whatever the
// default of its member is. On reading no key is required, keys that the record doesn't have are
// ignored, and a key that is absent or null leaves the default of its member.
//
// Every failure is a `vx::Exception`. It shows the path to the value, innermost key first:
// "… / length / 3 / registers".

namespace vx {

/// Tells how the alternatives of the variant `V` are told apart in JSON. The first alternative
/// stands for none and is `std::monostate`; the others are records that have a field `key`, a
/// string, whose default is their text:
///
///     struct Circle { std::string type = "circle"; … VX_FIELDS(Circle, type, radius) };
///     using Shape = std::variant<std::monostate, Circle, Square>;
///
///     template <>
///     struct vx::JsonVariantTraits<Shape> {
///         static constexpr const char* key = "type";
///         static constexpr const char* alternatives[] = {"", "circle", "square"};
///     };
///
/// Reading an unknown text, or none, gives the first alternative. Writing throws if the field of
/// the record that is held isn't its text.
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

/// Whether a field with this value is left out, of the JSON as well as of the text. A NaN isn't.
template <class T>
bool isLeftOut(const T& value) {
    return value == T{};
}

} // namespace detail

/// Value of @p json, which still belongs to the caller; a null pointer, which is JSON null, gives a
/// value-initialised one, a record with its member defaults.
template <class T>
T fromJson(json_object* json) {
    return json == nullptr ? T{} : FromJson<T>::call(json);
}

/// Converts the first JSON value in @p text; what follows it is ignored, as by `parseJsonFragment`.
/// Throws if there is none.
template <class T>
T fromJson(const char* text) {
    return fromJson<T>(parseJsonFragment(text).get());
}

template <>
inline std::shared_ptr<json_object> fromJson<std::shared_ptr<json_object>>(const char* text) {
    return parseJsonFragment(text);
}

/// New fragment of @p value. Texts go in as they are: they should be UTF-8, which nothing checks.
template <class T>
std::shared_ptr<json_object> toJsonFragment(const T& value) {
    return ToJsonFragment<T>::call(value);
}

// Reading

/// Only a JSON boolean, no number and no text.
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

/// A number, or a string, whose leading digits count; one that begins with none is 0. Fractions are
/// cut off. A value beyond the range of `T` throws.
template <detail::Integer T>
struct FromJson<T> {
    static T call(json_object* json) {
        detail::requireNumber(json);
        return detail::narrow<T, std::int64_t>(json_object_get_int64(json));
    }
};

/// A number, or a string that is a number to its end; any other string is 0.
template <std::floating_point T>
struct FromJson<T> {
    static T call(json_object* json) {
        detail::requireNumber(json);
        return static_cast<T>(json_object_get_double(json));
    }
};

/// Up to the first NUL.
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

/// A name. An unknown one gives the value 0, as `toEnum` does, and not the default of the member.
template <NamedEnum T>
struct FromJson<T> {
    static T call(json_object* json) {
        const json_type jsonType = json_object_get_type(json);
        VX_THROW_UNLESS(jsonType == json_type_string, "Expecting json string.", jsonType);
        return toEnum<T>(json_object_get_string(json));
    }
};

/// A string in the form of `toDateTime`.
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

/// An array; a null in it gives a value-initialised element.
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

/// Reads the alternative @p index if its text is @p text; otherwise tries the lower ones.
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

/// A JSON integer of 64 bits with a sign; a larger unsigned value wraps around.
template <detail::Integer T>
struct ToJsonFragment<T> {
    static std::shared_ptr<json_object> call(T value) {
        return makeJsonFragment(json_object_new_int64(value));
    }
};

/// NaN and infinity, which JSON doesn't have, become null.
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

/// The name; an empty text for a value without one.
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

/// How a field of this kind shows in the text of its record. Most kinds show as they do in
/// messages; the others are specialised below.
template <class T, class Enable = void>
struct TextForm {
    static void write(std::ostream& stream, const T& value) { detail::write(stream, value); }
};

template <>
struct TextForm<DateTime> {
    static void write(std::ostream& stream, DateTime value) { writeText(stream, toString(value)); }
};

template <>
struct TextForm<std::optional<double>> {
    static void write(std::ostream& stream, const std::optional<double>& value) {
        if (value)
            writeDouble(stream, *value);
        else
            writeText(stream, "null");
    }
};

template <class T>
struct TextForm<std::vector<T>> {
    static void write(std::ostream& stream, const std::vector<T>& values) {
        writeText(stream, "[");
        const char* separator = "";
        for (const T& value : values) {
            writeText(stream, separator);
            TextForm<T>::write(stream, value);
            separator = ",";
        }
        writeText(stream, "]");
    }
};

template <AlternativesVariant V>
struct TextForm<V> {
    static void write(std::ostream& stream, const V& value) {
        writeText(stream, "{");
        writeInteger(stream, value.index());
        writeText(stream, ":");
        std::visit([&stream](const auto& held) { detail::write(stream, held); }, value);
        writeText(stream, "}");
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
        writeText(stream, nothingWritten ? "\"" : ",\"");
        writeText(stream, key);
        writeText(stream, "\":");
        using Field = std::remove_cvref_t<decltype(record.*member)>;
        TextForm<Field>::write(stream, record.*member);
        nothingWritten = false;
    }
};

} // namespace detail

/// Writes the text form of a record, `{"key":value,…}`. VX_FIELDS makes it the stream operator.
/// As in messages, texts and numbers have their default form whatever format the stream has.
template <class R>
std::ostream& reflectedOstream(std::ostream& stream, const R& record) {
    detail::writeText(stream, "{");
    detail::TextVisitor<R> visitor{stream, record};
    R::visitFields(visitor);
    detail::writeText(stream, "}");
    return stream;
}

} // namespace vx

/// The field list of a record: its type, then up to 64 members, in the order of all its forms. The
/// key of a field is the name of its member. It stands inside the struct, behind the members:
///
///     VX_FIELDS(Point, x, y)
///
/// A member that is left out of the list has no part in JSON and text; a name that is no member
/// doesn't compile. The record must be comparable by `==` if it is a member of another one.
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
