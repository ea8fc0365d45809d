#pragma once

#include <string>

namespace house {

inline std::string withPolls(const std::string& polls) {
    return R"({"recording":{"polls":)" + polls + "}}";
}

inline std::string withReads(const std::string& reads) {
    return withPolls(R"([{"units":{"7":{)" + reads + "}}}]");
}

} // namespace house
