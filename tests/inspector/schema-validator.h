#pragma once

#include <string>
#include <vector>

namespace inspector {

/// What stands in `docs/schema/` of a format.
std::string publishedSchema(const std::string& format);

struct FormatText {
    std::string format;
    std::string text;
};

/// What the published schemas say of each document, by the validator of Debian's Python: nothing,
/// or its mistakes as "/data/0/id type". Fails the test if a schema is none.
std::vector<std::string> mistakesOf(const std::vector<FormatText>& documents);

/// The same of one document.
std::string mistakeOf(const std::string& format, const std::string& document);

} // namespace inspector
