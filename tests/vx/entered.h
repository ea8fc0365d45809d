#pragma once

#include <gmock/gmock.h>

#include <string>

/// Matches the debug line by which a channel tells that @p function was entered. How much of the
/// function's name stands ahead of that and what between its brackets depends on the compiler.
inline auto entered(const std::string& channelName, const std::string& function,
                    const std::string& arguments) {
    return testing::MatchesRegex("debug " + channelName + " Enter virtual .*" + function +
                                 "\\(.*\\) const " + arguments + " .cpp:<line>");
}
