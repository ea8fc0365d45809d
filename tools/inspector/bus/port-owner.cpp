#include "inspector/bus/port-owner.h"

#include "inspector/bus/bus.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
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

/// Whether the kernel lists the device as another kind than a terminal. Opening it may have
/// effects.
bool isOtherKind(const struct stat& device) {
    const std::string number =
        std::to_string(major(device.st_rdev)) + ":" + std::to_string(minor(device.st_rdev));
    std::error_code error;
    const fs::path kind = fs::read_symlink("/sys/dev/char/" + number + "/subsystem", error);
    return !error && kind.filename() != "tty";
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

void requireTerminal(const std::string& device) {
    struct stat status {};
    if (stat(device.c_str(), &status) != 0)
        throw BusError(device + ": " + std::strerror(errno));
    bool isTerminal = S_ISCHR(status.st_mode) && !isOtherKind(status);
    if (isTerminal) {
        const int descriptor = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        // A process that keeps the line to itself is told by name.
        if (descriptor == -1 && errno == EBUSY)
            return;
        if (descriptor == -1)
            throw BusError(device + ": " + std::strerror(errno));
        isTerminal = isatty(descriptor) != 0;
        close(descriptor);
    }
    if (!isTerminal)
        throw BusError(device + " is no serial line");
}

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
