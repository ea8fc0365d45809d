#include "inspector-program.h"

#include "house/child-process.h"
#include "support/temporary-directory.h"
#include "vx/json.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

namespace inspector {
namespace {

std::string textOf(json_object* object, const char* key) {
    json_object* value = nullptr;
    json_object_object_get_ex(object, key, &value);
    return value == nullptr ? "" : json_object_get_string(value);
}

std::string lineOf(json_object* finding) {
    std::string place = textOf(finding, "document");
    if (!textOf(finding, "line").empty())
        place += ":" + textOf(finding, "line") + ":" + textOf(finding, "column");
    if (!textOf(finding, "path").empty())
        place += " " + textOf(finding, "path");
    return textOf(finding, "severity") + " " + textOf(finding, "name") + " " + place + "\n  " +
           textOf(finding, "message") + "\n  " + textOf(finding, "remedy") + "\n";
}

} // namespace

ProgramResult run(const std::vector<std::string>& arguments, const std::string& input) {
    const TemporaryDirectory directory;
    const std::string folder = directory.path().string();
    directory.write("input", input);
    std::vector<std::string> command = {"/bin/sh", "-c",
                                        R"(exec "$@" <"$folder/input" >"$folder/output")", "sh",
                                        INSPECTOR_EXECUTABLE};
    command.insert(command.end(), arguments.begin(), arguments.end());
    house::ChildProcess program(command, directory.path() / "errors", {"folder=" + folder});
    const std::optional<int> status = program.waitForExit();
    ProgramResult result;
    if (status && WIFEXITED(*status))
        result.status = WEXITSTATUS(*status);
    result.standardOutput = contentOf(directory.path() / "output");
    result.standardError = contentOf(directory.path() / "errors");
    return result;
}

std::string findings(const std::map<std::string, std::string>& documents) {
    const TemporaryDirectory directory;
    std::vector<std::string> arguments = {"map", "--json"};
    for (const auto& [name, text] : documents) {
        arguments.push_back("--" + name);
        arguments.push_back(directory.write(name, text));
    }
    const ProgramResult result = run(arguments);
    const auto map = vx::parseJsonFragment(result.standardOutput.c_str());
    json_object* list = nullptr;
    json_object_object_get_ex(map.get(), "findings", &list);
    std::string lines;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i)
        lines += lineOf(json_object_array_get_idx(list, i));
    EXPECT_EQ(result.status, lines.empty() ? 0 : 1);
    EXPECT_EQ(result.standardError, "");
    return lines;
}

} // namespace inspector
