#include "inspector/schema-validator.h"

#include "house/child-process.h"
#include "support/temporary-directory.h"
#include "vx/str.h"

#include <gtest/gtest.h>

#include <sstream>

namespace inspector {
namespace {

const std::string folder = SOURCE_DIRECTORY "/docs/schema/";

std::string listOf(const std::vector<FormatText>& documents) {
    std::string list = "[";
    const char* separator = "";
    for (const auto& [format, text] : documents) {
        list += vx::str(separator, "[\"", format, "\",", text, "]");
        separator = ",\n";
    }
    return list + "]";
}

} // namespace

std::string publishedSchema(const std::string& format) {
    return contentOf(folder + format + ".schema.json");
}

std::vector<std::string> mistakesOf(const std::vector<FormatText>& documents) {
    const TemporaryDirectory directory;
    const std::string input = directory.write("documents", listOf(documents));
    const std::string output = (directory.path() / "mistakes").string();
    house::ChildProcess validator({"/bin/sh", "-c", R"(exec "$0" "$1" "$2" >"$3")",
                                   SOURCE_DIRECTORY "/tests/inspector/validate.py", folder, input,
                                   output},
                                  directory.path() / "errors");
    const std::optional<int> status = validator.waitForExit();
    EXPECT_EQ(status, 0) << contentOf(directory.path() / "errors");
    std::vector<std::string> mistakes;
    std::istringstream lines(contentOf(output));
    for (std::string line; std::getline(lines, line);)
        mistakes.push_back(line);
    EXPECT_EQ(mistakes.size(), documents.size());
    mistakes.resize(documents.size());
    return mistakes;
}

std::string mistakeOf(const std::string& format, const std::string& document) {
    return mistakesOf({{format, document}}).front();
}

} // namespace inspector
