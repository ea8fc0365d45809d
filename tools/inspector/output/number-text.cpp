#include "inspector/output/number-text.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace inspector {

std::string shortest(float number) {
    std::array<char, 64> text;
    return {text.begin(), std::to_chars(text.begin(), text.end(), number).ptr};
}

double writtenScale(float scale) {
    return std::strtod(shortest(scale).c_str(), nullptr);
}

std::string rounded(double number, int digits) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.*g", digits, number);
    return text.data();
}

} // namespace inspector
