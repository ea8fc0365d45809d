#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// Writes a page piece by piece.
class HtmlPage {
public:
    explicit HtmlPage(std::FILE* file) : m_file(file) {}

    void raw(std::string_view text) { std::fwrite(text.data(), 1, text.size(), m_file); }
    void text(std::string_view text);
    /// @p name: with its attributes.
    void element(std::string_view name, std::string_view content);
    void row(const std::vector<std::string>& cells);
    void titles(std::initializer_list<std::string_view> cells);

private:
    std::FILE* m_file;
};

} // namespace inspector
