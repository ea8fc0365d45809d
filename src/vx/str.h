#pragma once

#include "vx/enum-table.h"

#include <boost/system/error_code.hpp>

#include <chrono>
#include <concepts>
#include <cstddef>
#include <exception>
#include <optional>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace vx::detail {

/// Writer of one type in messages and exception texts. Streams keep their default format, so a
/// floating-point number shows six significant digits.
template <class T, class Enable = void>
struct Str {
    static void f(std::ostream& stream, const T& value) { stream << value; }
};

/// A null pointer is written as "null".
template <>
struct Str<const char*> {
    static void f(std::ostream& stream, const char* text) {
        stream << (text == nullptr ? "null" : text);
    }
};

template <>
struct Str<char*> : Str<const char*> {};

/// The two eight-bit numbers are written as numbers, unlike `char`.
template <>
struct Str<unsigned char> {
    static void f(std::ostream& stream, unsigned char value) { stream << unsigned{value}; }
};

template <>
struct Str<signed char> {
    static void f(std::ostream& stream, signed char value) { stream << int{value}; }
};

template <NamedEnum T>
struct Str<T> {
    static void f(std::ostream& stream, T value) {
        stream << enumName(vxEnum(value), static_cast<std::int32_t>(value));
    }
};

template <std::derived_from<std::exception> T>
struct Str<T> {
    static void f(std::ostream& stream, const std::exception& value) { stream << value.what(); }
};

template <>
struct Str<boost::system::error_code> {
    static void f(std::ostream& stream, const boost::system::error_code& value) {
        stream << value.message();
    }
};

template <>
struct Str<std::monostate> {
    static void f(std::ostream& stream, std::monostate) { stream << "null"; }
};

/// A moment of the steady clock is written as its seconds, a floating-point number.
template <>
struct Str<std::chrono::steady_clock::time_point> {
    static void f(std::ostream& stream, std::chrono::steady_clock::time_point value) {
        stream << std::chrono::duration<double>(value.time_since_epoch()).count();
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

template <class... Alternatives>
struct Str<std::variant<Alternatives...>> {
    static void f(std::ostream& stream, const std::variant<Alternatives...>& value) {
        std::visit([&stream](const auto& held) { write(stream, held); }, value);
    }
};

/// Removes one blank at the end of @p text, if there is one.
std::string withoutTrailingBlank(std::string text);

} // namespace vx::detail

namespace vx {

/// Text of all arguments in order.
template <class... Args>
std::string str(const Args&... args) {
    std::ostringstream stream;
    (detail::write(stream, args), ...);
    return stream.str();
}

/// Text of all arguments in order, without one trailing blank.
template <class... Args>
std::string strArgs(const Args&... args) {
    return detail::withoutTrailingBlank(str(args...));
}

/// Path of a source file as messages show it: what follows the last "src/", at most 32 characters.
std::string trimFile(std::string file);

/// Keeps the last 29 characters of a path of more than 32, behind three dots.
std::string trimFileWithDotsToMaxSize(std::string file);

// Strict number parsing of text from outside: the number and nothing else, no leading blank and no
// trailing rest.

/// Decimal integer with an optional sign. A value beyond the range of `long` counts as the end of
/// that range and is then cut to `int`.
std::optional<int> tryToInt(const std::string& s);

/// Floating-point number. A leading zero must stand alone or ahead of ".", "e" or "E", which shuts
/// out what looks octal or hexadecimal.
std::optional<double> tryToDouble(const std::string& s);

/// As `tryToInt`; throws `vx::Exception` where that gives nothing.
int requireInt(const std::string& s);

/// As `tryToDouble`; throws `vx::Exception` where that gives nothing.
double requireDouble(const std::string& s);

/// "0x" and hexadecimal digits for base 16, decimal for any other base.
std::string intToString(long long value, int base);

/// Random engine of this thread, seeded at its first use.
std::minstd_rand0& threadLocalRandomEngine();

/// Sixteen letters and digits. At most 31 bits of seed stand behind them: a label, not a secret.
std::string randomId();

} // namespace vx
