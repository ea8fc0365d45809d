#pragma once

#include <string>
#include <vector>

#include "house/home.h"

namespace house {

/// Where and how something in the house fails, told by a text: "3=silent", "3=exception:2",
/// "3=late:1500" (milliseconds), "3=garbled" and "3=unit:9" (in whose name it answers) for the
/// meter with the slave address 3, "attached=status:503" for a path of the local server.
namespace faults {

/// The forms of the text, for those who write one.
std::string forms();

bool isFault(const std::string& text);

/// Lets each of @p texts happen from now on. Throws `std::runtime_error` for a text that is no
/// fault, that no meter of @p home fits, that names the meter's own unit as the other one, or whose
/// place has a fault already.
void order(const std::vector<std::string>& texts, const Home& home, ModbusSlave& slave,
           LocalServer& server);

} // namespace faults

} // namespace house
