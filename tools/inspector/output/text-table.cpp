#include "inspector/output/text-table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace inspector {
namespace {

constexpr std::size_t gap = 2;

/// Number of characters of a text in UTF-8.
std::size_t lengthOf(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string aligned(const std::string& text, std::size_t width, TextTable::Side side) {
    const std::string blanks(width - std::min(width, lengthOf(text)), ' ');
    return side == TextTable::Side::left ? text + blanks : blanks + text;
}

} // namespace

TextTable::TextTable(std::vector<Column> columns) : m_columns(std::move(columns)) {
    for (const Column& column : m_columns)
        m_widths.push_back(lengthOf(column.title));
}

void TextTable::add(std::vector<std::string> row) {
    for (std::size_t i = 0; i < m_columns.size(); ++i)
        m_widths[i] = std::max(m_widths[i], lengthOf(row[i]));
    m_rows.push_back(std::move(row));
}

std::vector<std::size_t> TextTable::shownColumns(std::size_t room) const {
    std::vector<std::size_t> shown(m_columns.size());
    std::iota(shown.begin(), shown.end(), 0);
    for (;;) {
        std::size_t width = 0;
        for (const std::size_t i : shown)
            width += m_widths[i] + gap;
        const auto last = std::max_element(shown.begin(), shown.end(), [&](auto a, auto b) {
            return m_columns[a].rank < m_columns[b].rank;
        });
        if (width <= room + gap || m_columns[*last].rank == 0)
            return shown;
        shown.erase(last);
    }
}

void TextTable::print(Terminal& terminal, std::size_t indent) const {
    const std::vector<std::size_t> shown =
        shownColumns(terminal.width() - std::min(indent, terminal.width()));
    const auto printRow = [&](const auto& textOf, bool isHead) {
        std::string line(indent, ' ');
        for (const std::size_t i : shown)
            line.append(aligned(textOf(i), m_widths[i], m_columns[i].side)).append(gap, ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        terminal.line(isHead ? terminal.bold(line) : line);
    };
    printRow([&](std::size_t i) { return m_columns[i].title; }, true);
    for (const auto& row : m_rows)
        printRow([&](std::size_t i) { return row[i]; }, false);
}

} // namespace inspector
