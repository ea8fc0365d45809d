#include "inspector/input/notation.h"

namespace inspector {

std::optional<Notation> notationOf(std::int64_t number) {
    constexpr std::int64_t shortSpace = 10000;
    constexpr std::int64_t longSpace = 100000;
    constexpr std::int64_t registers = 65536;
    const std::int64_t size = number < longSpace ? shortSpace : longSpace;
    const std::int64_t space = number / size;
    const std::int64_t counted = number % size;
    if ((space != 3 && space != 4) || counted == 0 || counted > registers)
        return std::nullopt;
    return Notation{space == 3 ? "input" : "holding", counted - 1};
}

} // namespace inspector
