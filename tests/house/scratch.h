#pragma once

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace house {

/// A path for a socket or a file of the running test.
inline std::string scratch(const std::string& name) {
    return testing::TempDir() + "house-" + std::to_string(::getpid()) + "-" + name;
}

} // namespace house
