#pragma once

#include <optional>
#include <string>

namespace inspector {

/// Throws `BusError` if there is no such device, or it is none of a serial line.
void requireTerminal(const std::string& device);

/// Another process that has the serial device open: "modbus-reader (process 812)". Of those that
/// can't be looked into, as they belong to another user, the daemon counts as one.
std::optional<std::string> ownerOf(const std::string& device);

} // namespace inspector
