#pragma once

#include "support/lines.h"
#include "support/thrown-by.h"
#include "vx/exception.h"

#include <string>

/// Text of the `vx::Exception` that @p function throws, in which the numbers of source positions
/// read `<line>`.
template <class Function>
std::string thrownText(const Function& function) {
    return withoutLineNumbers(thrownBy<vx::Exception>(function));
}
