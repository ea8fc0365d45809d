#include "house/group-access.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace house {

void openToGroup(const std::string& path, const std::string& group) {
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    const struct group* const entry = ::getgrnam(group.c_str());
    if (entry != nullptr && ::chown(path.c_str(), sameOwner, entry->gr_gid) == 0)
        ::chmod(path.c_str(), 0660);
}

} // namespace house
