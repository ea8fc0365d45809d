#include "base.h"

#include "vx/str.h"

namespace orv {

std::string intToString(long long value, bool hex) {
    return vx::intToString(value, hex ? 16 : 10);
}

} // namespace orv
