#pragma once

#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace house {

struct ProgramResult {
    /// The exit status; nothing when a signal or the limit of `Patience` ended the program.
    std::optional<int> status;
    std::string standardOutput;
    std::string standardError;
};

inline bool operator==(const ProgramResult& a, const ProgramResult& b) {
    return a.status == b.status && a.standardOutput == b.standardOutput &&
           a.standardError == b.standardError;
}

inline std::ostream& operator<<(std::ostream& stream, const ProgramResult& result) {
    return stream << "status " << result.status.value_or(-1) << "\nstandard output:\n"
                  << result.standardOutput << "standard error:\n"
                  << result.standardError;
}

/// Runs a shell script in a world of its own, in an empty folder, with the simulated house as
/// $house.
///
/// `open_house` with options of the house starts it in the background and goes on when all of it is
/// open; `close_house SIGNAL` ends it, prints what it wrote behind the heading, and gives its exit
/// status. `add_group NAME` makes a group, of a number that the world has.
inline ProgramResult runInPrivateWorld(const std::string& script) {
    const TemporaryDirectory directory;
    const std::string functions = R"(
        exec >"$directory/output"
        cd /dev/shm
        add_group() {
            grep -q "4294967295$" /proc/self/gid_map && number=77 || number=0
            echo "$1:x:$number:" >/etc/group
        }
        open_house() {
            mkfifo "$directory/words"
            "$house" "$@" >"$directory/words" &
            house_pid=$!
            # Waits, as the house would complain of output that nobody reads any more.
            trap 'kill "$house_pid" 2>/dev/null; wait "$house_pid"' EXIT
            exec 3<"$directory/words"
            read -r heading <&3
        }
        close_house() {
            kill -"$1" "$house_pid"
            cat <&3
            wait "$house_pid"
        }
    )";
    ChildProcess shell({SOURCE_DIRECTORY "/tools/private-world", "--rtu", "--", "/bin/bash", "-c",
                        functions + script},
                       directory.path() / "errors",
                       {"house=" HOUSE_EXECUTABLE, "directory=" + directory.path().string()});
    const std::optional<int> status = shell.waitForExit();
    ProgramResult result;
    if (status && WIFEXITED(*status))
        result.status = WEXITSTATUS(*status);
    result.standardOutput = contentOf(directory.path() / "output");
    result.standardError = contentOf(directory.path() / "errors");
    return result;
}

} // namespace house
