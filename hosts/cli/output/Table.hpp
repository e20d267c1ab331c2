#pragma once

#include "output/Session.hpp"

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
        bool shrinks = false;  ///< gives way where a row would be wider than the terminal: its cells wrap
        bool isCut = false;    ///< of one that shrinks: its cells are cut instead, as what is long and says little
    };
    struct Cell {
        std::string text;
        Style style = Style::plain;
        /// Colours the text as it is shown, perhaps cut, where one style is not enough; absent: `style` does. Only
        /// colours may be added.
        std::function<std::string(std::string_view shown)> paint = {};
    };

    explicit Table(std::vector<Column> columns) : columns_{std::move(columns)} {}

    /// One cell for each column.
    void addRow(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }
    /// How narrow the widest row can be made.
    [[nodiscard]] std::size_t leastWidth() const;
    [[nodiscard]] bool isEmpty() const { return rows_.empty(); }

    /// Writes all rows, two blanks between columns. `columns` is the width to stay within; 0 means no limit, which is
    /// right for what is not a terminal: there nothing wraps. Stops when `out` takes nothing more.
    void write(std::ostream& out, std::size_t columns, bool hasColor,
               Characters characters = Characters::unicode) const;
    /// To standard output, as the session says.
    void write(const Session& session) const {
        write(session.out, session.columns(), session.hasColor(), session.characters());
    }

private:
    [[nodiscard]] std::vector<std::size_t> widths(std::size_t columns) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace KestrelCLI
