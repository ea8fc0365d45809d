#include "base.h"

#include <cmath>

namespace orv {

// In a file of its own, which the daemon doesn't link, as it doesn't round: the library of
// mathematics would cost it 300 kB of memory.
double roundDigits(double v, int digits) {
    return std::round(v * std::pow(10.0, digits)) / std::pow(10.0, digits);
}

} // namespace orv
