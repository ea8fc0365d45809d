#pragma once

#include "house-program.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>

namespace house {

/// A checkout of which the demo and what it calls are real, but for the tools that would install
/// and build: each of these says its name and arguments.
class Demo : public testing::Test {
protected:
    Demo() {
        for (const std::string folder : {"script", "tools", "build", "path"})
            std::filesystem::create_directory(m_directory.path() / folder);
        const std::filesystem::path source = SOURCE_DIRECTORY;
        std::filesystem::copy(source / "script/demo", m_directory.path() / "script");
        std::filesystem::copy(source / "tools/private-world", m_directory.path() / "tools");
        replace("script/bootstrap", "echo bootstrap");
        replace("path/cmake", R"(echo "cmake $*")");
        replace("build/house", R"(printf '%s\n' "$@")");
        replace("build/inspector", R"(printf '%s\n' "$*"; exec sleep infinity)");
    }

    /// Puts a shell script in the place of a program.
    void replace(const std::string& program, const std::string& script) {
        const std::string file = m_directory.write(program, "#!/bin/bash\n" + script + "\n");
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }

    /// A house that says where it runs, and ends when it is told to.
    void letTheHouseStay() {
        replace("build/house", "trap 'kill $!; echo ended; exit 0' TERM; sleep infinity & "
                               "echo $$ >house; wait");
    }

    /// Runs a shell script in the checkout, in which the built house says its options.
    ProgramResult run(const std::string& script) {
        m_directory.write("errors", "");
        const std::string prepared = "cd '" + m_directory.path().string() +
                                     "'; PATH=$PWD/path:$PATH; mkdir -p build/release; "
                                     "cp build/house build/release/modbus-house; "
                                     "cp build/inspector build/release/modbus-inspector; "
                                     "exec >output\n";
        ChildProcess shell({"/bin/bash", "-c", prepared + script}, m_directory.path() / "errors");
        const std::optional<int> status = shell.waitForExit();
        ProgramResult result;
        if (status && WIFEXITED(*status))
            result.status = WEXITSTATUS(*status);
        result.standardOutput = contentOf(m_directory.path() / "output");
        result.standardError = contentOf(m_directory.path() / "errors");
        return result;
    }

    static ProgramResult refused(const std::string& message) {
        return {2, "",
                "script/demo: " + message + "\nRun script/demo --help for more information.\n"};
    }

    std::size_t numberOfLogs() const {
        using Iterator = std::filesystem::directory_iterator;
        const Iterator logs(m_directory.path() / "build/demo");
        return static_cast<std::size_t>(std::distance(logs, Iterator()));
    }

    TemporaryDirectory m_directory;
};

/// What the tools of the checkout say when it is built.
inline const std::string built =
    "bootstrap\n"
    "cmake --preset release\n"
    "cmake --build --preset release --target modbus-reader modbus-house\n";
inline const std::string builtWithInspector =
    built.substr(0, built.size() - 1) + " modbus-inspector\n";

} // namespace house
