#include "house/patience.h"

#include <cstdlib>

namespace house {

namespace {

double scale() {
    const char* text = std::getenv("READER_TEST_PATIENCE");
    const double value = text != nullptr ? std::strtod(text, nullptr) : 1.0;
    return value > 0.0 ? value : 1.0;
}

} // namespace

std::chrono::milliseconds Patience::limit(std::chrono::milliseconds base) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(base * scale());
}

} // namespace house
