#include "inspector/log/text-fields.h"

#include <charconv>

namespace inspector {
namespace {

template <class T>
std::optional<T> numberAt(std::optional<std::string_view> text) {
    T number{};
    if (!text)
        return std::nullopt;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

} // namespace

std::optional<std::string_view> behind(std::string_view text, std::string_view key) {
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos)
        return std::nullopt;
    return text.substr(at + key.size());
}

std::optional<std::string_view> between(std::string_view text, std::string_view key,
                                        std::string_view end) {
    const auto rest = behind(text, key);
    return rest ? std::optional(rest->substr(0, rest->find(end))) : std::nullopt;
}

std::optional<std::int64_t> wholeBehind(std::string_view text, std::string_view key) {
    return numberAt<std::int64_t>(behind(text, key));
}

std::optional<double> numberBehind(std::string_view text, std::string_view key) {
    return numberAt<double>(behind(text, key));
}

namespace {

/// How many bytes the character at the front has; 0 if it is none.
std::size_t characterSize(std::string_view text) {
    const auto byteAt = [&](std::size_t i) -> unsigned {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const unsigned first = byteAt(0);
    if (first < 0x80)
        return first < ' ' || first == 0x7F ? 0 : 1;
    const std::size_t size = first < 0xC2   ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
    for (std::size_t i = 1; i < size; ++i)
        if ((byteAt(i) & 0xC0U) != 0x80U)
            return 0;
    const unsigned second = byteAt(1);
    // Longer than needed, half a pair, beyond the last character, or a control character of old.
    const bool isNone = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F) ||
                        (first == 0xC2 && second < 0xA0);
    return isNone ? 0 : size;
}

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t size = characterSize(text);
        result += size == 0 ? std::string_view("\uFFFD") : text.substr(0, size);
        text.remove_prefix(size == 0 ? 1 : size);
    }
    return result;
}

bool fitsPattern(std::string_view line, std::string_view pattern) {
    constexpr std::string_view anything = "…";
    const std::size_t first = pattern.find(anything);
    if (first == std::string_view::npos)
        return line == pattern;
    if (!line.starts_with(pattern.substr(0, first)))
        return false;
    line.remove_prefix(first);
    pattern.remove_prefix(first + anything.size());
    for (;;) {
        const std::size_t next = pattern.find(anything);
        if (next == std::string_view::npos)
            return line.ends_with(pattern);
        const std::size_t at = line.find(pattern.substr(0, next));
        if (at == std::string_view::npos)
            return false;
        line.remove_prefix(at + next);
        pattern.remove_prefix(next + anything.size());
    }
}

} // namespace inspector
