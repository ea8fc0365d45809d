#include "inspector/bus/port-owner.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace inspector {
namespace {

namespace fs = std::filesystem;

bool isOpenIn(const fs::path& process, dev_t device) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(process / "fd", error)) {
        struct stat status {};
        if (stat(entry.path().c_str(), &status) == 0 && S_ISCHR(status.st_mode) &&
            status.st_rdev == device)
            return true;
    }
    return false;
}

} // namespace

std::optional<std::string> ownerOf(const std::string& device) {
    struct stat status {};
    if (stat(device.c_str(), &status) != 0 || !S_ISCHR(status.st_mode))
        return std::nullopt;
    const std::string own = std::to_string(getpid());
    std::error_code error;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", error)) {
        const std::string number = process.path().filename();
        if (number == own || number.find_first_not_of("0123456789") != std::string::npos ||
            !isOpenIn(process.path(), status.st_rdev))
            continue;
        std::string name;
        std::getline(std::ifstream(process.path() / "comm"), name);
        return name + " (process " + number + ")";
    }
    return std::nullopt;
}

} // namespace inspector
