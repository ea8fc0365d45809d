#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <regex>
#include <sstream>
#include <string>

namespace {

constexpr const char* configFile = "/etc/modbus-config.json";

/// Without moments and durations, and the blanks that follow from their widths.
std::string steady(const std::string& line) {
    static const std::regex moments(R"([0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:.]+Z)");
    static const std::regex durations("[0-9.]+ ms");
    static const std::regex blanks(" +");
    const std::string timeless = std::regex_replace(line, moments, "<time>");
    return std::regex_replace(std::regex_replace(timeless, durations, "<duration>"), blanks, " ");
}

/// The lines between the fences of console blocks in a section of the README.
std::string consoleLines(const std::string& section) {
    std::istringstream readme(contentOf(SOURCE_DIRECTORY "/README.md"));
    std::string result;
    bool isSection = false;
    bool isConsole = false;
    for (std::string line; std::getline(readme, line);) {
        if (line.starts_with("## "))
            isSection = line == "## " + section;
        else if (line.starts_with("```"))
            isConsole = line == "```console";
        else if (isSection && isConsole)
            result += steady(line) + "\n";
    }
    return result;
}

/// What of @p lines stands in @p text, in the same order.
std::string foundInOrder(const std::string& lines, const std::string& text) {
    std::istringstream wanted(lines);
    std::istringstream all(text);
    std::string result;
    std::string seen;
    for (std::string line; std::getline(wanted, line);) {
        while (std::getline(all, seen) && steady(seen) != line)
            continue;
        if (all)
            result += line + "\n";
    }
    return result;
}

/// Runs the walk over Modbus TCP.
std::string walk() {
    std::ofstream(configFile)
        << R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502}})";
    const TemporaryDirectory directory;
    const std::string folder = directory.path();
    house::ChildProcess program({"/bin/sh", "-c", R"(exec "$@" >"$folder/output")", "sh",
                                 SOURCE_DIRECTORY "/tools/commissioning-walk", INSPECTOR_EXECUTABLE,
                                 HOUSE_EXECUTABLE, READER_EXECUTABLE, directory.write("log", "")},
                                folder + "/errors", {"folder=" + folder});
    std::optional<int> status;
    constexpr int longestWaits = 3;
    for (int i = 0; i < longestWaits && !status; ++i)
        status = program.waitForExit();
    std::filesystem::remove(configFile);
    EXPECT_EQ(status, 0) << contentOf(folder + "/errors");
    return contentOf(folder + "/output");
}

} // namespace

TEST(Commissioning, theWalkPrintsWhatTheReadmeShowsAndTheMeterDelivers) {
    const std::string shown = consoleLines("Commissioning a meter");
    const std::string printed = walk();

    EXPECT_TRUE(shown.starts_with("$ modbus-inspector scan ")) << shown;
    EXPECT_EQ(foundInOrder(shown, printed), shown) << printed;
    EXPECT_TRUE(printed.ends_with("\nEvery meter delivered in each poll, 1 of 1.\n"
                                  "\nThe meter is in service.\n"))
        << printed;
}
