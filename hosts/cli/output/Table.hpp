#pragma once

#include "output/Terminal.hpp"

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// Columns of text for a person, as wide as their widest cell. Cells must already be escaped where they came from
/// outside; colours are put on after the widths are known.
class Table {
public:
    enum class Align { left, right };
    struct Column {
        std::string title;  ///< no title row is written when every title is empty
        Align align = Align::left;
        bool shrinks = false;  ///< is shortened first when a row would be wider than the terminal
    };
    struct Cell {
        std::string text;
        Style style = Style::plain;
        /// Colours the text as it is shown, perhaps shortened, where one style is not enough; absent: `style` does.
        std::function<std::string(std::string_view shown)> paint = {};
    };

    explicit Table(std::vector<Column> columns) : columns_{std::move(columns)} {}

    /// One cell for each column.
    void addRow(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }
    [[nodiscard]] bool isEmpty() const { return rows_.empty(); }

    /// Writes all rows, two blanks between columns. `columns` is the width to stay within; 0 means no limit, which is
    /// right for what is not a terminal: there nothing is cut.
    void write(std::ostream& out, std::size_t columns, bool hasColor) const;

private:
    [[nodiscard]] std::vector<std::size_t> widths(std::size_t columns) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace KestrelCLI
