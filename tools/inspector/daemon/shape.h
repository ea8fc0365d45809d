#pragma once

#include "vx/enum-table.h"
#include "vx/identifier.h"
#include "vx/record.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace inspector {

/// What JSON of a type of the daemon looks like, told by the type itself.
struct Shape {
    enum class Kind { record, list, enumeration, text, integer, number, flag, moment };

    struct Field {
        std::string_view key;
        const Shape* shape;
        /// What the field is if its key isn't there, as JSON.
        std::string fallback;
    };

    Kind kind;
    /// The daemon's own conversion. Throws `vx::Exception`.
    void (*convert)(json_object* json);
    /// Of a number: what that makes of it.
    double (*taken)(json_object* json) = nullptr;
    /// Of a record.
    std::vector<Field> fields = {};
    /// Of a list.
    const Shape* element = nullptr;
    /// Of an enumeration.
    std::optional<vx::EnumTable> names = std::nullopt;
    /// Of an integer.
    std::int64_t least = 0;
    std::int64_t most = 0;
    /// Of a number.
    double largest = 0;
};

/// The shape of `T`, which is made once.
template <class T>
const Shape& shapeOf();

namespace detail {

template <class T>
struct ElementOf;
template <class T>
struct ElementOf<std::vector<T>> {
    using Type = T;
};

template <class T>
constexpr bool isList = false;
template <class T>
constexpr bool isList<std::vector<T>> = true;

template <class T>
constexpr bool isIdentifier = false;
template <class Tag>
constexpr bool isIdentifier<vx::Identifier<Tag>> = true;

template <class R>
struct FieldCollector {
    std::vector<Shape::Field>& fields;
    R defaults{};

    template <class M, M member>
    void operator()(const char* key) {
        using Field = std::remove_cvref_t<decltype(defaults.*member)>;
        fields.push_back(
            {key, &shapeOf<Field>(), vx::toJson(vx::toJsonFragment(defaults.*member))});
    }
};

template <class T>
constexpr Shape::Kind kindOf() {
    using enum Shape::Kind;
    if constexpr (vx::detail::Record<T>)
        return record;
    else if constexpr (isList<T>)
        return list;
    else if constexpr (vx::NamedEnum<T>)
        return enumeration;
    else if constexpr (std::is_same_v<T, bool>)
        return flag;
    else if constexpr (std::is_integral_v<T>)
        return integer;
    else if constexpr (std::is_floating_point_v<T>)
        return number;
    else if constexpr (std::is_same_v<T, vx::DateTime>)
        return moment;
    else {
        static_assert(std::is_same_v<T, std::string> || isIdentifier<T>, "A kind without a shape");
        return text;
    }
}

} // namespace detail

template <class T>
const Shape& shapeOf() {
    static const Shape shape = [] {
        Shape made{.kind = detail::kindOf<T>(),
                   .convert = [](json_object* json) { vx::FromJson<T>::call(json); }};
        if constexpr (vx::detail::Record<T>) {
            detail::FieldCollector<T> collector{made.fields};
            T::visitFields(collector);
        }
        if constexpr (detail::isList<T>)
            made.element = &shapeOf<typename detail::ElementOf<T>::Type>();
        if constexpr (vx::NamedEnum<T>)
            made.names = vxEnum(T{});
        if constexpr (std::is_arithmetic_v<T>)
            made.taken = [](json_object* json) {
                return static_cast<double>(vx::FromJson<T>::call(json));
            };
        if constexpr (std::is_integral_v<T>) {
            made.least = std::numeric_limits<T>::min();
            made.most = std::numeric_limits<T>::max();
        }
        if constexpr (std::is_floating_point_v<T>)
            made.largest = std::numeric_limits<T>::max();
        return made;
    }();
    return shape;
}

} // namespace inspector
