#pragma once

#include "vx/enum-table.h"

#include <optional>
#include <string>
#include <string_view>

// Names and values of a named enumeration; `vx/enum-table.h` shows how one is made. With its Light:
//
//     vx::fromEnum<std::string>(Light::on)     // "on"
//     vx::tryToEnum<Light>("on")               // Light::on
//     vx::toEnum<Light>("dim")                 // value 0, Light::off, and a debug line
//
// Nothing throws. Names are compared exactly, upper and lower case included.

namespace vx {

class LogChannel;

/// Channel "vxEnum", on which unknown names and values are reported, at debug. Its severity is
/// notice at first, so they don't show.
LogChannel& enumLogChannel();

namespace detail {

/// Value of the first row of @p table that is named exactly @p name.
std::optional<std::int32_t> tryEnumValue(const EnumTable& table, std::string_view name);

/// Reports that @p table doesn't hold @p name. A view without data stands for a null pointer and is
/// reported as "null".
void reportUnknownName(const EnumTable& table, std::string_view name);

inline std::string_view enumView(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}
inline std::string_view enumView(const std::string& text) {
    return text;
}

} // namespace detail

/// Name of @p value; empty, with a debug line, if the table doesn't hold it. `Text` is always
/// `std::string`.
template <class Text, NamedEnum E>
requires std::is_same_v<Text, std::string> Text fromEnum(E value) {
    return Text(detail::enumName(vxEnum(value), static_cast<std::int32_t>(value)));
}

/// Value with the name @p text, a `const char*` or a `std::string`, if there is one. A null pointer
/// counts as an empty text. Reports nothing.
template <NamedEnum E, class T>
std::optional<E> tryToEnum(const T& text) {
    const auto value = detail::tryEnumValue(vxEnum(E{}), detail::enumView(text));
    return value ? std::optional(static_cast<E>(*value)) : std::nullopt;
}

/// As `tryToEnum`, but an unknown name gives the value 0, whether or not an enumerator has it, and
/// a debug line.
template <NamedEnum E, class T>
E toEnum(const T& text) {
    if (const auto value = tryToEnum<E>(text))
        return *value;
    detail::reportUnknownName(vxEnum(E{}), detail::enumView(text));
    return static_cast<E>(0);
}

} // namespace vx
