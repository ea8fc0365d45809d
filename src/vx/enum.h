#pragma once

#include "vx/enum-table.h"

#include <optional>
#include <string>
#include <string_view>

namespace vx {

class LogChannel;

/// Channel on which unknown names and values of enumerations are reported, at debug.
LogChannel& enumLogChannel();

namespace detail {

/// Value of the first row of @p table that is named exactly @p name.
std::optional<std::int32_t> tryEnumValue(const EnumTable& table, std::string_view name);

/// Reports @p name, which has no data for a null pointer, as one that @p table does not hold.
void reportUnknownName(const EnumTable& table, std::string_view name);

inline std::string_view enumView(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}
inline std::string_view enumView(const std::string& text) {
    return text;
}

} // namespace detail

/// Name of @p value; empty, with a debug line, if its table does not hold it.
template <class Text, NamedEnum E>
requires std::is_same_v<Text, std::string> Text fromEnum(E value) {
    return detail::enumName(vxEnum(value), static_cast<std::int32_t>(value));
}

/// Value with exactly the name @p text, a `const char*` or a `std::string`, if there is one.
template <NamedEnum E, class T>
std::optional<E> tryToEnum(const T& text) {
    const auto value = detail::tryEnumValue(vxEnum(E{}), detail::enumView(text));
    return value ? std::optional(static_cast<E>(*value)) : std::nullopt;
}

/// As `tryToEnum`, but an unknown name gives the value 0 and a debug line.
template <NamedEnum E, class T>
E toEnum(const T& text) {
    if (const auto value = tryToEnum<E>(text))
        return *value;
    detail::reportUnknownName(vxEnum(E{}), detail::enumView(text));
    return static_cast<E>(0);
}

} // namespace vx
