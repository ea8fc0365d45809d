#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

namespace inspector {

/// Where the documents come from. Files are named, "-" is standard input; the server is asked as
/// the daemon asks it.
struct Sources {
    std::optional<std::string> supported = std::nullopt;
    std::optional<std::string> attached = std::nullopt;
    std::optional<std::string> serial = std::nullopt;
    std::optional<std::string> config = std::nullopt;
    /// Address without a path.
    std::optional<std::string> server = std::nullopt;
};

/// Input that can't be read; its text is for the user.
struct UnreadableInput : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Texts {
    std::optional<std::string> supported = std::nullopt;
    std::optional<std::string> attached = std::nullopt;
    std::optional<std::string> serial = std::nullopt;
    std::optional<std::string> config = std::nullopt;
};

/// A file takes the place of what the server says, and beside the server of this machine its
/// configuration file counts if there is one. Throws `UnreadableInput`.
Texts readTexts(const Sources& sources);

/// Whether a server runs on this machine, by its address.
bool isOwnServer(const std::string& server);

/// The largest reply that the daemon takes is far below that.
constexpr std::size_t mostMegabytes = 512;

/// Throws `UnreadableInput`, also for a file that is larger.
std::string readFile(const std::string& name, std::size_t megabytes = mostMegabytes);

} // namespace inspector
