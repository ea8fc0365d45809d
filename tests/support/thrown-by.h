#pragma once

#include <exception>
#include <string>

/// Text of the exception that @p function throws. One of another type passes on.
template <class Exception = std::exception, class Function>
std::string thrownBy(const Function& function) {
    try {
        function();
    } catch (const Exception& e) {
        return e.what();
    }
    return "nothing thrown";
}
