#pragma once

#include "vx/str.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

// Only a macro sees the source text and the position of an expression, so the log statement, the
// throwing forms, the assertion and the log context are macros. Their items are listed here.
//
// The arguments of a macro are expanded once before they become text: `strerror(errno)` shows as
// `strerror((*__errno_location ()))` with this C library.

namespace vx::detail {

/// One item of a statement: its key, the source text of the expression, and its value. A string
/// literal is the message proper and has no key, and neither has `__PRETTY_FUNCTION__`. It only
/// refers to the value, so it must not outlive the statement.
template <class T>
struct Item {
    std::string_view key;
    const T& value;
};

/// Size of the string literal that @p source begins with; 0 if it begins otherwise.
constexpr std::size_t literalSize(std::string_view source) {
    if (source.starts_with("R\"")) {
        const std::string_view delimiter = source.substr(2, source.find('(') - 2);
        for (std::size_t i = 2; i < source.size(); ++i)
            if (source[i] == ')' && source.substr(i + 1).starts_with(delimiter) &&
                source.substr(i + 1 + delimiter.size()).starts_with('"'))
                return i + 1 + delimiter.size() + 1;
        return 0;
    }
    if (!source.starts_with('"'))
        return 0;
    for (std::size_t i = 1; i < source.size(); ++i) {
        if (source[i] == '"')
            return i + 1;
        if (source[i] == '\\')
            ++i;
    }
    return 0;
}

/// Whether @p source consists of string literals, which the compiler joins, and of nothing else.
constexpr bool isStringLiteral(std::string_view source) {
    while (const std::size_t size = literalSize(source)) {
        source.remove_prefix(size);
        if (source.empty())
            return true;
        source.remove_prefix(source.starts_with(' ') ? 1 : 0);
    }
    return false;
}

consteval std::string_view itemKey(std::string_view source) {
    const bool speaksForItself = isStringLiteral(source) || source == "__PRETTY_FUNCTION__";
    return speaksForItself ? std::string_view() : source;
}

/// Writes the key and a ":", if there is a key, the value and one blank.
template <class T>
struct Str<Item<T>> {
    static void f(std::ostream& stream, const Item<T>& item) {
        if (!item.key.empty()) {
            writeText(stream, item.key);
            writeText(stream, ":");
        }
        write(stream, item.value);
        writeText(stream, " ");
    }
};

/// Text of all arguments in order, without one trailing blank. The items of a statement go into
/// braces, as in `Text{a, b}.text`: unlike a call, they are evaluated from left to right.
struct Text {
    template <class... Args>
    explicit Text(const Args&... args) : text(strArgs(args...)) {}

    std::string text;
};

} // namespace vx::detail

// How VX_FOR_EACH repeats. The preprocessor doesn't expand a macro inside its own expansion, so
// none can call itself. VX_FOR_EACH_FIRST handles one item and leaves a call for the rest behind
// it:
//
//     VX_FOR_EACH_NEXT VX_PARENTHESES (macro, rest)
//
// In this scan VX_FOR_EACH_NEXT is followed by a name and by no "(", so it is no call yet. Then
// VX_PARENTHESES becomes "()", and the next scan of the same text does find a call. It gives
// VX_FOR_EACH_FIRST, which handles the next item. So each scan handles one item, and what is needed
// are many scans.
//
// A macro with the body `__VA_ARGS__` has its text scanned once more. VX_SCAN nests such macros
// four deep at three levels, which makes 4 * 4 * 4 = 64 of them by three lines of four calls each.
// The promise is 64 items. As the macros around the innermost ones scan too, 16 + 4 + 1 times, and
// the text was scanned once before, the end really comes behind item 86. One more leaves the name
// VX_FOR_EACH_NEXT in the program, which doesn't compile then: no item is ever lost in silence.

#define VX_PARENTHESES ()
#define VX_SCAN(...) VX_SCAN_3(VX_SCAN_3(VX_SCAN_3(VX_SCAN_3(__VA_ARGS__))))
#define VX_SCAN_3(...) VX_SCAN_2(VX_SCAN_2(VX_SCAN_2(VX_SCAN_2(__VA_ARGS__))))
#define VX_SCAN_2(...) VX_SCAN_1(VX_SCAN_1(VX_SCAN_1(VX_SCAN_1(__VA_ARGS__))))
#define VX_SCAN_1(...) __VA_ARGS__

/// Expands @p macro once for each of up to 64 arguments, in their order; to nothing without any.
#ifdef __cppcheck__
// Its preprocessor doesn't know __VA_OPT__.
#define VX_FOR_EACH(macro, ...)
#else
#define VX_FOR_EACH(macro, ...) __VA_OPT__(VX_SCAN(VX_FOR_EACH_FIRST(macro, __VA_ARGS__)))
#define VX_FOR_EACH_FIRST(macro, first, ...)                                                       \
    macro(first) __VA_OPT__(VX_FOR_EACH_NEXT VX_PARENTHESES(macro, __VA_ARGS__))
#define VX_FOR_EACH_NEXT() VX_FOR_EACH_FIRST
#endif

/// The source text of the arguments, themselves expanded once, as a string literal.
#define VX_TEXT(...) VX_TEXT_1(__VA_ARGS__)
#define VX_TEXT_1(...) #__VA_ARGS__

/// An `Item` for each expression, each led by a comma, so that the list can follow other arguments.
/// It belongs into braces: `Text{"" VX_ITEMS(a, b)}`.
#define VX_ITEMS(...) VX_FOR_EACH(VX_ITEM, __VA_ARGS__)
#define VX_ITEM(expression)                                                                        \
    , ::vx::detail::Item<std::remove_cvref_t<decltype((expression))>> {                            \
        ::vx::detail::itemKey(VX_TEXT(expression)), expression                                     \
    }
