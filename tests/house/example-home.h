#pragma once

#include "support/temporary-directory.h"

#include <string>

namespace house {

/// The home of two meters that stands in the document about descriptions.
inline std::string exampleHome() {
    const std::string document = contentOf(SOURCE_DIRECTORY "/tools/house/home.md");
    const std::string start = "```json\n";
    const std::size_t from = document.find(start) + start.size();
    return document.substr(from, document.find("```", from) - from);
}

} // namespace house
