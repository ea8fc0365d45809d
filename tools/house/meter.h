#pragma once

#include <string>

namespace house {

/// A meter of the home, as the local server lists it.
struct Meter {
    std::string name;
    int slaveAddress = 0;
};

} // namespace house
