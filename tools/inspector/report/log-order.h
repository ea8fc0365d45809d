#pragma once

#include <string>
#include <vector>

namespace inspector {

/// The names of logs by the times of their first lines, as a shell names the newest of rotated
/// files first; one that tells no time stays behind the one that it is named behind. As they are if
/// one of them can't be read twice, such as standard input.
std::vector<std::string> inOrder(std::vector<std::string> logs);

} // namespace inspector
