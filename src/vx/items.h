#pragma once

#include "vx/str.h"

#include <ostream>
#include <string_view>

// Only a macro sees the source text and the position of an expression, so the log statement, the
// throwing forms, the assertion and the log context are macros. Their items are listed here.
//
// The arguments of a macro are expanded once before they become text: `errno` shows as the C
// library spells it.

namespace vx::detail {

/// One item of a statement: its key, the source text of the expression, and its value. A string
/// literal is the message proper and has no key, and neither has the signature of a function.
template <class T>
struct Item {
    std::string_view key;
    const T& value;
};

constexpr std::string_view itemKey(std::string_view source) {
    const bool speaksForItself = source.starts_with('"') || source == "__PRETTY_FUNCTION__";
    return speaksForItself ? std::string_view() : source;
}

/// Writes the key and a ":", if there is a key, the value and one blank.
template <class T>
struct Str<Item<T>> {
    static void f(std::ostream& stream, const Item<T>& item) {
        if (!item.key.empty())
            stream << item.key << ':';
        write(stream, item.value);
        stream << ' ';
    }
};

} // namespace vx::detail

#define VX_PARENTHESES ()
#define VX_SCAN(...) VX_SCAN_3(VX_SCAN_3(VX_SCAN_3(VX_SCAN_3(__VA_ARGS__))))
#define VX_SCAN_3(...) VX_SCAN_2(VX_SCAN_2(VX_SCAN_2(VX_SCAN_2(__VA_ARGS__))))
#define VX_SCAN_2(...) VX_SCAN_1(VX_SCAN_1(VX_SCAN_1(VX_SCAN_1(__VA_ARGS__))))
#define VX_SCAN_1(...) __VA_ARGS__

/// Expands @p macro once for each of up to 64 arguments.
#ifdef __cppcheck__
// Its preprocessor doesn't know __VA_OPT__.
#define VX_FOR_EACH(macro, ...)
#else
#define VX_FOR_EACH(macro, ...) __VA_OPT__(VX_SCAN(VX_FOR_EACH_FIRST(macro, __VA_ARGS__)))
#define VX_FOR_EACH_FIRST(macro, first, ...)                                                       \
    macro(first) __VA_OPT__(VX_FOR_EACH_NEXT VX_PARENTHESES(macro, __VA_ARGS__))
#define VX_FOR_EACH_NEXT() VX_FOR_EACH_FIRST
#endif

#define VX_TEXT(...) VX_TEXT_1(__VA_ARGS__)
#define VX_TEXT_1(...) #__VA_ARGS__

/// The items of a list, each led by a comma.
#define VX_ITEMS(...) VX_FOR_EACH(VX_ITEM, __VA_ARGS__)
#define VX_ITEM(expression)                                                                        \
    , ::vx::detail::Item<std::remove_cvref_t<decltype((expression))>> {                            \
        ::vx::detail::itemKey(VX_TEXT(expression)), expression                                     \
    }
