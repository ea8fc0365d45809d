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
