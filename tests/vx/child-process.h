#pragma once

#include <string>
#include <vector>

/// How a child process ended, and what it wrote.
struct ChildResult {
    /// As `waitpid` gives it; 0 is the exit status 0.
    int status = -1;
    std::string standardOutput;
    /// Empty if the child's descriptor 2 was a terminal.
    std::string standardError;
};

struct ChildOptions {
    /// `NAME=value`, besides this process's environment without the logging settings.
    std::vector<std::string> environment = {};
    /// File that the child's descriptor 2 writes to instead, such as a terminal.
    std::string standardErrorFile = {};
};

/// Runs a command to its end.
ChildResult runChild(const std::vector<std::string>& command, const ChildOptions& options = {});

/// Runs the program that tells of its surroundings with @p command, in a world of its own whose
/// "/etc" holds only what the shell commands @p preparation put there.
ChildResult runInPrivateWorld(const std::string& preparation, const std::string& command,
                              const ChildOptions& options = {});
