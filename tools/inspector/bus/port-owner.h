#pragma once

#include <optional>
#include <string>

namespace inspector {

/// Another process that has the serial device open: "modbus-reader (process 812)". Of those that
/// can't be looked into, as they belong to another user, the daemon counts as one.
std::optional<std::string> ownerOf(const std::string& device);

} // namespace inspector
