#pragma once

#include <string>

namespace house {

/// Opens the file @p path for reading and writing to the users of @p group. Without such a group,
/// and when this process may not do so, the file stays as it is.
void openToGroup(const std::string& path, const std::string& group);

} // namespace house
