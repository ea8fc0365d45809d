#include "inspector/schema/number-patterns.h"

#include <cstddef>

namespace inspector {
namespace {

/// What the C library passes over ahead of a number.
const std::string blanks = R"([ \t-\r]*)";

std::string digitFrom(char least, char most) {
    return least == most ? std::string(1, least) : std::string("[") + least + "-" + most + "]";
}

std::string digits(std::size_t count) {
    if (count == 0)
        return "";
    return count == 1 ? "[0-9]" : "[0-9]{" + std::to_string(count) + "}";
}

/// A whole number without a sign that is @p most or less: it is shorter, or it has a smaller digit
/// behind the same first ones, or it is the same.
std::string upTo(std::uint64_t most) {
    const std::string text = std::to_string(most);
    std::string pattern;
    if (text.size() > 1)
        pattern += "[0-9]{1," + std::to_string(text.size() - 1) + "}|";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char least = i == 0 && text.size() > 1 ? '1' : '0';
        if (text[i] > least)
            pattern += text.substr(0, i) + digitFrom(least, static_cast<char>(text[i] - 1)) +
                       digits(text.size() - i - 1) + "|";
    }
    return "0*(" + pattern + text + ")";
}

} // namespace

std::string wholeNumberPattern(std::int64_t least, std::int64_t most) {
    const std::uint64_t mostNegative = 0 - static_cast<std::uint64_t>(least);
    return "^" + blanks + "(-" + upTo(mostNegative) + R"(|\+?)" +
           upTo(static_cast<std::uint64_t>(most)) + R"()(\.0*)?$)";
}

std::string numberPattern() {
    return "^" + blanks + R"([-+]?([0-9]+\.?[0-9]*|\.[0-9]+)([eE][-+]?[0-9]+)?$)";
}

} // namespace inspector
