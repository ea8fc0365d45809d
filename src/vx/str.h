#pragma once

#include "vx/enum-table.h"
#include "vx/text-stream.h"

#include <boost/system/error_code.hpp>

#include <chrono>
#include <concepts>
#include <cstddef>
#include <exception>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <variant>

namespace vx::detail {

/// Writer of one type in messages and exception texts; by default its stream operator. A type that
/// should look different there has a specialisation, which must leave the stream's format as it
/// is. Texts and numbers have their default form whatever that format is.
template <class T, class Enable = void>
struct Str {
    static void f(std::ostream& stream, const T& value) { stream << value; }
};

/// A null pointer is written as "null".
template <>
struct Str<const char*> {
    static void f(std::ostream& stream, const char* text) {
        writeText(stream, text == nullptr ? "null" : text);
    }
};

template <>
struct Str<char*> : Str<const char*> {};

template <>
struct Str<std::string> {
    static void f(std::ostream& stream, const std::string& text) { writeText(stream, text); }
};

template <>
struct Str<std::string_view> {
    static void f(std::ostream& stream, std::string_view text) { writeText(stream, text); }
};

template <>
struct Str<char> {
    static void f(std::ostream& stream, char c) { writeText(stream, {&c, 1}); }
};

template <>
struct Str<bool> {
    static void f(std::ostream& stream, bool value) { writeText(stream, value ? "1" : "0"); }
};

/// Unlike `char`, the two other types of eight bits are written as numbers.
template <std::integral T>
requires requires(std::ostream& stream, T value) {
    stream << value;
}
struct Str<T> {
    static void f(std::ostream& stream, T value) { writeInteger(stream, +value); }
};

template <>
struct Str<double> {
    static void f(std::ostream& stream, double value) { writeDouble(stream, value); }
};

template <>
struct Str<float> : Str<double> {};

/// The name of the value; nothing, with a debug line, for a value without a name.
template <NamedEnum T>
struct Str<T> {
    static void f(std::ostream& stream, T value) {
        writeText(stream, enumName(vxEnum(value), static_cast<std::int32_t>(value)));
    }
};

/// The text of `what()`. By the stream itself, which fails for a null pointer.
template <std::derived_from<std::exception> T>
struct Str<T> {
    static void f(std::ostream& stream, const std::exception& value) { stream << value.what(); }
};

/// The message of the error, as "Connection refused", instead of its category and number.
template <>
struct Str<boost::system::error_code> {
    static void f(std::ostream& stream, const boost::system::error_code& value) {
        writeText(stream, value.message());
    }
};

template <>
struct Str<std::monostate> {
    static void f(std::ostream& stream, std::monostate) { writeText(stream, "null"); }
};

/// A moment of the steady clock is written as its seconds, a floating-point number.
template <>
struct Str<std::chrono::steady_clock::time_point> {
    static void f(std::ostream& stream, std::chrono::steady_clock::time_point value) {
        writeDouble(stream, std::chrono::duration<double>(value.time_since_epoch()).count());
    }
};

template <class T>
void write(std::ostream& stream, const T& value) {
    Str<T>::f(stream, value);
}

template <std::size_t n>
void write(std::ostream& stream, const char (&text)[n]) {
    Str<const char*>::f(stream, text);
}

/// The alternative that is held.
template <class... Alternatives>
struct Str<std::variant<Alternatives...>> {
    static void f(std::ostream& stream, const std::variant<Alternatives...>& value) {
        std::visit([&stream](const auto& held) { write(stream, held); }, value);
    }
};

/// Removes one blank at the end of @p text, if there is one.
std::string withoutTrailingBlank(std::string text);

/// What follows the last "src/" of @p path, or all of it.
std::string_view belowSources(std::string_view path);

/// Characters of a path that a message shows at most.
constexpr std::size_t maxPathSize = 32;

} // namespace vx::detail

namespace vx {

/// Text of all arguments in order, with nothing between them:
///
///     vx::str("slave ", 3, " took ", 0.5, " s")     // slave 3 took 0.5 s
///
/// Each type has the form that it has in messages: a named enumeration is its name, an exception
/// its `what()`, an error code its message, a null `const char*` "null", an eight-bit number a
/// number. All else is as its stream operator writes it by default: a floating-point number has six
/// significant digits and `true` is 1.
template <class... Args>
std::string str(const Args&... args) {
    detail::TextStream stream;
    (detail::write(stream, args), ...);
    return stream.take();
}

/// As `str`, without one blank at the end, if there is one.
template <class... Args>
std::string strArgs(const Args&... args) {
    return detail::withoutTrailingBlank(str(args...));
}

/// Path of a source file as messages show it: what follows the last "src/", or all of it, and of
/// that at most 32 characters, as `trimFileWithDotsToMaxSize` cuts it.
std::string trimFile(std::string file);

/// Keeps the last 29 characters of a path of more than 32, behind three dots.
std::string trimFileWithDotsToMaxSize(std::string file);

// Strict number parsing of text from outside: the number and nothing else, no leading blank and no
// trailing rest. Nothing of this is logged.

/// Decimal integer with an optional sign. A value that doesn't fit `int` is cut to its low bits;
/// one that doesn't even fit `long` counts as the end of that range first.
std::optional<int> tryToInt(const std::string& s);

/// Floating-point number with an optional sign, also "inf" and "nan"; infinity for one that is too
/// large. A zero at the start must stand alone or be followed by ".", "e" or "E", so "010" and
/// "0x10" give nothing. What follows a sign is not checked for this: "-0x10" is -16.
std::optional<double> tryToDouble(const std::string& s);

/// As `tryToInt`; where that gives nothing, throws `vx::Exception` "Conversion to integer failed."
/// with the text.
int requireInt(const std::string& s);

/// As `tryToDouble`; where that gives nothing, throws `vx::Exception` "Conversion to double
/// failed." with the text.
double requireDouble(const std::string& s);

/// "0x" and lower-case hexadecimal digits for base 16, decimal for any other base. The hexadecimal
/// form of a negative number is that of its 64 bits.
std::string intToString(long long value, int base);

/// Random engine of the calling thread, seeded from the system at its first use. The reference must
/// not be handed to another thread.
std::minstd_rand0& threadLocalRandomEngine();

/// Sixteen letters and digits. They come from a seed of 31 bits at most: a label, not a secret, and
/// not unique for certain.
std::string randomId();

} // namespace vx
