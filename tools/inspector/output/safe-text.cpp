#include "inspector/output/safe-text.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <optional>
#include <wchar.h>

namespace inspector {
namespace {

constexpr unsigned space = 0x20;
constexpr unsigned del = 0x7F;
constexpr unsigned lastControl = 0x9F;

struct Character {
    std::string_view bytes;
    /// Nothing for a byte that is no part of UTF-8.
    std::optional<unsigned> code;
};

Character firstOf(std::string_view text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    unsigned code = 0;
    if (!rapidjson::UTF8<>::Decode(stream, &code))
        return {text.substr(0, 1), std::nullopt};
    return {text.substr(0, stream.Tell()), code};
}

/// Below zero for what is not to be shown. By the table for UTF-8, whatever the user's locale is.
int columnsOf(unsigned code) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (code == 0)
        return -1;
    if (code >= space && code < del)
        return 1;
    const locale_t before = uselocale(utf8);
    const int columns = wcwidth(static_cast<wchar_t>(code));
    uselocale(before);
    return columns;
}

std::string escaped(const char* format, unsigned code) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), format, code);
    return text.data();
}

std::string shown(const Character& x) {
    if (!x.code)
        return escaped("\\x%02x", static_cast<unsigned char>(x.bytes.front()));
    if (*x.code < space || (*x.code >= del && *x.code <= lastControl))
        return escaped("\\u%04x", *x.code);
    return std::string(x.bytes);
}

} // namespace

std::string utf8Of(std::string_view text, std::size_t most) {
    std::string result;
    while (!text.empty() && most-- > 0) {
        const Character x = firstOf(text);
        result += x.code ? x.bytes : "\uFFFD";
        text.remove_prefix(x.bytes.size());
    }
    return result;
}

std::string inColumns(std::string_view text, std::size_t columns) {
    std::string result;
    while (!text.empty()) {
        const Character x = firstOf(text);
        const int width = x.code ? columnsOf(*x.code) : 1;
        const std::size_t taken = width < 0 ? 1 : static_cast<std::size_t>(width);
        if (taken > columns)
            break;
        columns -= taken;
        result += width < 0 ? "?" : x.code ? x.bytes : "\uFFFD";
        text.remove_prefix(x.bytes.size());
    }
    return result.append(columns, ' ');
}

std::string shownText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const Character x = firstOf(text);
        result += shown(x);
        text.remove_prefix(x.bytes.size());
    }
    return result;
}

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte >= space && byte < del;
    });
}

} // namespace inspector
