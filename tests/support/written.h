#pragma once

#include "vx/json.h"
#include "vx/record.h"

#include <string>

template <class R>
std::string written(const R& record) {
    return vx::toJson(vx::toJsonFragment(record));
}
