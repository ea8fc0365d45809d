#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>

// A named enumeration is one whose enumerators have texts, which messages, JSON and `vx/enum.h`
// use. An enumeration becomes one by a function `vxEnum(E)` in its own namespace, where the
// compiler finds it by the type of the argument; the value of the argument is not used:
//
//     enum class Light : std::int32_t { off = 0, on = 1 };
//
//     vx::EnumTable vxEnum(Light) {
//         using enum Light;
//         static constexpr vx::EnumRow rows[] = {{off, "off"}, {on, "on"}};
//         return {std::begin(rows), std::end(rows), "Light"};
//     }
//
// Rows and names are never copied, so they must live as long as the program.

namespace vx {

/// One value of a named enumeration with its text, which is not null. Values have 32 bits, those of
/// a wider enumeration are cut.
struct EnumRow {
    template <class E>
    requires std::is_enum_v<E>
    constexpr EnumRow(E enumerator, const char* text)
        : value(static_cast<std::int32_t>(enumerator)), name(text) {}
    constexpr EnumRow(std::int32_t number, const char* text) : value(number), name(text) {}

    std::int32_t value;
    std::string_view name;
};

/// What `vxEnum(E)` returns: the rows of an enumeration and the name that its failure lines show.
/// Of two rows with the same value, or with the same name, the first one counts.
struct EnumTable {
    const EnumRow* begin;
    const EnumRow* end;
    const char* name;
};

/// Whether `vxEnum` is declared for the enumeration `T`.
template <class T>
concept NamedEnum = std::is_enum_v<T> && requires(T value) {
    { vxEnum(value) } -> std::same_as<EnumTable>;
};

namespace detail {

/// Name of the first row of @p table with @p value. If there is none it is empty, and a debug line
/// on the channel "vxEnum" tells so.
std::string_view enumName(const EnumTable& table, std::int32_t value);

/// While one lives, its thread reports no unknown values and names. They may be nested. For code
/// that builds a message where the logger can't be used, such as a log function.
class EnumReportPause {
public:
    EnumReportPause();
    ~EnumReportPause();
    EnumReportPause(const EnumReportPause&) = delete;
    EnumReportPause& operator=(const EnumReportPause&) = delete;
};

} // namespace detail
} // namespace vx
