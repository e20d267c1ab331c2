#pragma once

#include "output/TerminalText.hpp"
#include "terminal/ScreenKey.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCLI {

/// How a cell of the screen looks, beside its character.
struct CellLook {
    ScreenColor foreground{};
    ScreenColor background{};
    bool isBold = false;
    bool isDim = false;
    bool isReversed = false;
    bool isUnderlined = false;

    bool operator==(const CellLook&) const = default;
};

/// One column of one row.
struct ScreenCell {
    /// A character with what combines with it. Empty for the second column of a wide one.
    std::string text{" "};
    CellLook look{};

    bool operator==(const ScreenCell&) const = default;
};

/// All cells of a screen. A value: what a page looks like, and no terminal needed to see it.
class ScreenCells {
public:
    /// Blank.
    ScreenCells(std::size_t columns, std::size_t rows) : columns_{columns}, rows_{rows}, cells_(columns * rows) {}

    /// `lines` from the top, in colours within `depth`; what does not fit is cut, the rest is blank. A text that is too
    /// wide for its line loses its middle.
    ScreenCells(const std::vector<ScreenLine>& lines, std::size_t columns, std::size_t rows, ColorDepth depth,
                Characters characters);

    [[nodiscard]] std::size_t columns() const { return columns_; }
    [[nodiscard]] std::size_t rows() const { return rows_; }
    [[nodiscard]] const ScreenCell& at(std::size_t row, std::size_t column) const {
        return cells_[row * columns_ + column];
    }

    bool operator==(const ScreenCells&) const = default;

private:
    std::size_t put(std::size_t row, std::size_t column, const ScreenSpan& span, ColorDepth depth,
                    Characters characters);

    std::size_t columns_;
    std::size_t rows_;
    std::vector<ScreenCell> cells_;  ///< row by row
};

}  // namespace KestrelCLI
