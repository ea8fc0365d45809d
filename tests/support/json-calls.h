#pragma once

#include "support/stand-in.h"

#include <json-c/json_tokener.h>

/// Functions of json-c, under their names without "json_".
namespace json_calls {

extern StandIn<json_tokener*()> tokener_new;
extern StandIn<const char*(json_tokener_error error)> tokener_error_desc;

} // namespace json_calls
