#include "inspector/bus/port-owner.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace inspector {
namespace {

namespace fs = std::filesystem;

std::string nameOf(const fs::path& process) {
    std::string name;
    std::getline(std::ifstream(process / "comm"), name);
    return name;
}

bool isPseudoTerminal(const struct stat& device) {
    constexpr unsigned pseudoTerminals = 136;
    return major(device.st_rdev) == pseudoTerminals;
}

/// Each container numbers its pseudo terminals anew.
bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_rdev == b.st_rdev && (!isPseudoTerminal(a) || a.st_dev == b.st_dev);
}

/// Whether a descriptor is the other side of a pseudo terminal, on which the line is simulated.
bool isOtherSide(const fs::path& process, const fs::path& descriptor, const struct stat& device) {
    if (!isPseudoTerminal(device))
        return false;
    std::ifstream info(process / "fdinfo" / descriptor);
    std::string key;
    unsigned index = 0;
    while (info >> key)
        if (key == "tty-index:" && info >> index)
            return index == minor(device.st_rdev);
    return false;
}

bool mayHaveOpen(const fs::path& process, const struct stat& device) {
    bool isOpen = false;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(process / "fd", error)) {
        struct stat status {};
        if (stat(entry.path().c_str(), &status) != 0 || !S_ISCHR(status.st_mode))
            continue;
        if (isOtherSide(process, entry.path().filename(), device))
            return false;
        isOpen = isOpen || isSame(status, device);
    }
    return isOpen || (error == std::errc::permission_denied && nameOf(process) == "modbus-reader");
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
            !mayHaveOpen(process.path(), status))
            continue;
        return nameOf(process.path()) + " (process " + number + ")";
    }
    return std::nullopt;
}

} // namespace inspector
