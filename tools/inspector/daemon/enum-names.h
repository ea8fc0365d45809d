#pragma once

#include "vx/enum.h"

#include <cstdlib>
#include <string>

namespace inspector {

template <vx::NamedEnum E>
std::string nameOf(E value) {
    return vx::fromEnum<std::string>(value);
}

/// Number at the end of a name such as "baud9600"; 1 if there is none.
template <vx::NamedEnum E>
int digitsOf(E value) {
    const std::string name = nameOf(value);
    const std::size_t digits = name.find_first_of("0123456789");
    return digits == std::string::npos ? 1 : std::atoi(name.c_str() + digits);
}

} // namespace inspector
