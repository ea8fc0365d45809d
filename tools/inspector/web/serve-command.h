#pragma once

#include "inspector/live/live-log.h"

#include <string>
#include <vector>

namespace inspector {

struct ServeOptions {
    LogOptions log;
    /// Address and port.
    std::string listen = "127.0.0.1:8090";
    /// Names of this machine that a request may be for.
    std::vector<std::string> names;
};

int runServe(const ServeOptions& options);

/// Whether a text is an address and a port, such as 127.0.0.1:8090 or [::1]:8090.
bool isEndpoint(const std::string& text);

} // namespace inspector
