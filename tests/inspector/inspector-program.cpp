#include "inspector-program.h"

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

Program::Program(const std::vector<std::string>& arguments, const std::string& input,
                 const std::vector<std::string>& environment) {
    const std::string folder = m_files.path().string();
    m_files.write("input", input);
    std::vector<std::string> command = {
        "/bin/sh", "-c", R"(folder=$1; shift; exec env "$@" <"$folder/input" >"$folder/output")",
        "sh", folder};
    command.insert(command.end(), environment.begin(), environment.end());
    command.emplace_back(INSPECTOR_EXECUTABLE);
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_process = std::make_unique<house::ChildProcess>(command, m_files.path() / "errors");
}

ProgramResult Program::wait() {
    const std::optional<int> status = m_process->waitForExit();
    ProgramResult result;
    if (status && WIFEXITED(*status))
        result.status = WEXITSTATUS(*status);
    result.standardOutput = contentOf(m_files.path() / "output");
    result.standardError = contentOf(m_files.path() / "errors");
    return result;
}

ProgramResult run(const std::vector<std::string>& arguments, const std::string& input) {
    return Program(arguments, input).wait();
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
