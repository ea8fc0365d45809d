#include "child-process.h"

#include "support/temporary-directory.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<std::string> environmentWithoutSettings() {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (!std::string_view(*variable).starts_with("VX_"))
            variables.emplace_back(*variable);
    return variables;
}

/// The form that the C library takes a list of texts in.
std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

ChildResult runChild(const std::vector<std::string>& command, const ChildOptions& options) {
    const TemporaryDirectory directory;
    const std::string output = directory.write("output", "");
    const std::string error = directory.write("error", "");
    auto arguments = command;
    auto environment = environmentWithoutSettings();
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), O_WRONLY, 0);
    const std::string& errorFile =
        options.standardErrorFile.empty() ? error : options.standardErrorFile;
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errorFile.c_str(), O_WRONLY | O_NOCTTY,
                                     0);
    pid_t child = 0;
    const int failure = posix_spawnp(&child, command.at(0).c_str(), &files, nullptr,
                                     pointers(arguments).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&files);
    if (failure != 0)
        throw std::runtime_error("Cannot run " + command.at(0));
    ChildResult result;
    waitpid(child, &result.status, 0);
    result.standardOutput = contentOf(output);
    result.standardError = contentOf(error);
    return result;
}

ChildResult runInPrivateWorld(const std::string& preparation, const std::string& command,
                              const ChildOptions& options) {
    return runChild({PRIVATE_WORLD, "--", "/bin/bash", "-c", preparation + "\nexec \"$0\" \"$1\"",
                     SURROUNDINGS_PROGRAM, command},
                    options);
}
