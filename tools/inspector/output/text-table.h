#pragma once

#include "inspector/output/terminal.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// Rows of texts in columns as wide as their longest text.
class TextTable {
public:
    enum class Side { left, right };

    struct Column {
        std::string title;
        Side side = Side::left;
        /// Where a terminal is too narrow, the column with the highest number is left out first; 0
        /// is always there.
        int rank = 0;
    };

    explicit TextTable(std::vector<Column> columns);
    /// As many texts as there are columns.
    void add(std::initializer_list<std::string_view> row);
    void add(const std::vector<std::string>& row);
    void print(Terminal& terminal, std::size_t indent) const;
    /// What that writes.
    std::string text(const Terminal& terminal, std::size_t indent) const;

private:
    struct Cell {
        std::size_t end;
        /// In characters.
        std::size_t length;
    };

    template <class Row>
    void addRow(const Row& row);
    std::size_t append(std::string_view text);
    std::vector<std::size_t> shownColumns(std::size_t room) const;

    std::vector<Column> m_columns;
    std::vector<std::size_t> m_widths;
    /// Of all cells, row by row, without a gap; a table may have many.
    std::string m_text;
    std::vector<Cell> m_cells;
};

} // namespace inspector
