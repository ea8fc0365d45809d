#pragma once

#include <stdexcept>
#include <string>

/// Text of the `std::invalid_argument` that @p function throws.
template <class Function>
std::string invalidArgument(const Function& function) {
    try {
        function();
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "nothing thrown";
}
