#include "inspector/input/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace inspector {
namespace {

/// Number of letters to insert, delete or replace, upper and lower case being the same.
std::size_t distance(std::string_view a, std::string_view b) {
    const auto isSame = [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    };
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t corner = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = corner + (isSame(a[i], b[j]) ? 0 : 1);
            corner = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

/// One that is contained in the other, as "scale" in "scaleValue", counts as near.
std::size_t farness(std::string_view text, std::string_view known) {
    const std::size_t edits = distance(text, known);
    const bool isPart = text.size() > 2 && (known.find(text) != std::string_view::npos ||
                                            text.find(known) != std::string_view::npos);
    return isPart ? std::min<std::size_t>(edits, 1) : edits;
}

} // namespace

std::optional<std::string_view> nearest(std::string_view text,
                                        const std::vector<std::string_view>& known) {
    const auto best = std::min_element(known.begin(), known.end(), [&](auto a, auto b) {
        return farness(text, a) < farness(text, b);
    });
    // A slip of the pen leaves most letters.
    constexpr std::size_t lettersOfASlip = 3;
    if (best == known.end() || farness(text, *best) > (best->size() + 1) / lettersOfASlip)
        return std::nullopt;
    return *best;
}

} // namespace inspector
