#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

/// What the descriptor @p fd stands for: the path of a file or device, or "socket:[4711]".
inline std::string nameOfDescriptor(int fd) {
    std::error_code gone;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), gone);
}

/// What the open descriptors of this process stand for.
inline std::vector<std::string> namesOfOpenDescriptors() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        names.push_back(std::filesystem::read_symlink(entry, gone));
    }
    return names;
}

/// How many descriptors of a device or a socket this process holds.
inline std::size_t openDescriptorsOf(const std::string& name) {
    const auto names = namesOfOpenDescriptors();
    return static_cast<std::size_t>(std::count(names.begin(), names.end(), name));
}
