#pragma once

#include <exception>
#include <string>

namespace house {

/// The text of the exception that @p function throws.
template <class Function>
std::string thrownBy(const Function& function) {
    try {
        function();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing thrown";
}

} // namespace house
