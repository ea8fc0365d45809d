#include "inspector/input/pointer.h"

#include <charconv>

namespace inspector {

std::string pointerTo(std::string_view pointer, std::string_view key) {
    std::string result(pointer);
    result += '/';
    for (const char c : key) {
        if (c == '~')
            result += "~0";
        else if (c == '/')
            result += "~1";
        else
            result += c;
    }
    return result;
}

std::vector<std::string> tokensOf(std::string_view pointer) {
    std::vector<std::string> tokens;
    for (std::size_t i = 0; i < pointer.size(); ++i) {
        if (pointer[i] == '/')
            tokens.emplace_back();
        else if (pointer[i] == '~' && i + 1 < pointer.size())
            tokens.back() += pointer[++i] == '0' ? '~' : '/';
        else
            tokens.back() += pointer[i];
    }
    return tokens;
}

std::size_t indexOf(const std::string& token) {
    std::size_t index = 0;
    const char* const end = token.data() + token.size();
    const auto [rest, error] = std::from_chars(token.data(), end, index);
    return error == std::errc() && rest == end ? index : static_cast<std::size_t>(-1);
}

} // namespace inspector
