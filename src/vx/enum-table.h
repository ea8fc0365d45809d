#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>

namespace vx {

/// One value of a named enumeration with its text.
struct EnumRow {
    template <class E>
    requires std::is_enum_v<E>
    constexpr EnumRow(E enumerator, const char* text)
        : value(static_cast<std::int32_t>(enumerator)), name(text) {}
    constexpr EnumRow(std::int32_t number, const char* text) : value(number), name(text) {}

    std::int32_t value;
    const char* name;
};

/// What `vxEnum(E)` returns: the rows of an enumeration and the name that its failure lines show.
struct EnumTable {
    const EnumRow* begin;
    const EnumRow* end;
    const char* name;
};

/// An enumeration becomes a named one by a function `vxEnum(E)` in its own namespace; the
/// argument's value is not used, it only selects the overload.
template <class T>
concept NamedEnum = std::is_enum_v<T> && requires(T value) {
    { vxEnum(value) } -> std::same_as<EnumTable>;
};

namespace detail {

/// Name of the first row of @p table with @p value; empty, with a debug line, if there is none.
std::string enumName(const EnumTable& table, std::int32_t value);

/// While one lives, its thread reports no unknown values and names.
class EnumReportPause {
public:
    EnumReportPause();
    ~EnumReportPause();
    EnumReportPause(const EnumReportPause&) = delete;
    EnumReportPause& operator=(const EnumReportPause&) = delete;
};

} // namespace detail
} // namespace vx
