#pragma once

#include "output/TerminalText.hpp"
#include "output/Treemap.hpp"
#include "terminal/ScreenKey.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What a picture is drawn on: half cells of colour, lines around rectangles, and texts over both. What lies outside is
/// left out.
class PictureCanvas {
public:
    PictureCanvas(std::size_t columns, std::size_t rows) : columns_{columns}, rows_{rows}, cells_(columns * rows) {}

    /// Colours half cells: `place` in columns, and in rows of which there are two in a line of text.
    void fill(const GridRectangle& place, ScreenColor color);
    /// Draws lines along the edges of the cells at `place`, which join those of others; the last ones one further, on
    /// the first of the next rectangle.
    void box(const GridRectangle& place);
    /// Shows the cells at `place` reversed.
    void reverse(const GridRectangle& place);

    struct Look {
        ScreenColor foreground{};
        ScreenColor background{};
        bool isBold = false;
    };
    /// Writes `text`, which is escaped already.
    void write(std::size_t row, std::size_t column, std::string_view text, const Look& look);

    [[nodiscard]] std::vector<ScreenLine> lines(Characters characters) const;

private:
    struct Cell {
        ScreenColor upper{};
        ScreenColor lower{};
        std::string text{};
        bool hasText = false;  ///< also the second half of a wide character, with an empty text
        Look look{};
        bool isReversed = false;
        std::uint8_t joints = 0;  ///< to which sides a line goes on
    };
    [[nodiscard]] ScreenSpan spanOf(const Cell& cell, Characters characters) const;
    void join(std::size_t column, std::size_t row, std::uint8_t side);

    std::size_t columns_;
    std::size_t rows_;
    std::vector<Cell> cells_;
};

}  // namespace KestrelCLI
