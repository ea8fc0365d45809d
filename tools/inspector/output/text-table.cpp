#include "inspector/output/text-table.h"

#include "inspector/output/safe-text.h"

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

void appendCell(std::string& line, std::string_view text, std::size_t blanks,
                TextTable::Side side) {
    if (side == TextTable::Side::right)
        line.append(blanks, ' ');
    line.append(text);
    if (side == TextTable::Side::left)
        line.append(blanks, ' ');
    line.append(gap, ' ');
}

} // namespace

TextTable::TextTable(std::vector<Column> columns) : m_columns(std::move(columns)) {
    for (const Column& column : m_columns)
        m_widths.push_back(lengthOf(column.title));
}

void TextTable::add(std::initializer_list<std::string_view> row) {
    addRow(row);
}

void TextTable::add(const std::vector<std::string>& row) {
    addRow(row);
}

template <class Row>
void TextTable::addRow(const Row& row) {
    std::size_t column = 0;
    for (const std::string_view text : row) {
        const std::size_t length = append(text);
        m_widths[column] = std::max(m_widths[column], length);
        m_cells.push_back({m_text.size(), length});
        ++column;
    }
}

/// Returns the number of characters.
std::size_t TextTable::append(std::string_view text) {
    if (isPlain(text)) {
        m_text.append(text);
        return text.size();
    }
    const std::string shown = shownText(text);
    m_text.append(shown);
    return lengthOf(shown);
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
    terminal.write(text(terminal, indent));
}

std::string TextTable::text(const Terminal& terminal, std::size_t indent) const {
    const std::vector<std::size_t> columns =
        shownColumns(terminal.width() - std::min(indent, terminal.width()));
    std::string head(indent, ' ');
    for (const std::size_t i : columns)
        appendCell(head, m_columns[i].title, m_widths[i] - lengthOf(m_columns[i].title),
                   m_columns[i].side);
    std::string all = terminal.bold(head.erase(head.find_last_not_of(' ') + 1)) + "\n";
    for (std::size_t row = 0; row < m_cells.size(); row += m_columns.size()) {
        all.append(indent, ' ');
        for (const std::size_t i : columns) {
            const std::size_t at = row + i == 0 ? 0 : m_cells[row + i - 1].end;
            const Cell& cell = m_cells[row + i];
            appendCell(all, std::string_view(m_text).substr(at, cell.end - at),
                       m_widths[i] - cell.length, m_columns[i].side);
        }
        all.erase(all.find_last_not_of(' ') + 1);
        all += '\n';
    }
    return all;
}

} // namespace inspector
