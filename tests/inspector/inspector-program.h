#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

struct ProgramResult {
    /// The exit status; nothing when a signal or the limit of `Patience` ended the program.
    std::optional<int> status;
    std::string standardOutput;
    std::string standardError;
};

/// Runs the real program with @p input as its standard input.
ProgramResult run(const std::vector<std::string>& arguments, const std::string& input = {});

/// What `map` finds in documents, by the name of their option. Three lines each.
std::string findings(const std::map<std::string, std::string>& documents);

} // namespace inspector
