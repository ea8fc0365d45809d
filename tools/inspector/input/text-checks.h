#pragma once

#include "inspector/daemon/shape.h"
#include "inspector/input/json-tree.h"
#include "inspector/output/finding.h"

#include <string>
#include <string_view>

namespace inspector {

/// What the daemon passes over in silence in a value of a known shape: keys and names that it
/// doesn't know, and keys that stand twice.
void checkText(const JsonNode& node, const Shape& shape, const std::string& pointer,
               std::string_view document, Findings& findings);

/// The one of @p known that @p text most likely was meant to be.
std::string_view nearest(std::string_view text, const std::vector<std::string_view>& known);

} // namespace inspector
