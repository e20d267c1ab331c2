#include "terminal/browse/PictureCanvas.hpp"

#include "output/UTF8.hpp"

#include <algorithm>
#include <array>

namespace KestrelCLI {

namespace {

constexpr std::uint8_t up = 1;
constexpr std::uint8_t down = 2;
constexpr std::uint8_t toLeft = 4;
constexpr std::uint8_t toRight = 8;

/// By joints.
constexpr std::array<std::string_view, 16> unicodeLines{" ", "╵", "╷", "│", "╴", "┘", "┐", "┤",
                                                        "╶", "└", "┌", "├", "─", "┴", "┬", "┼"};

std::string_view line(std::uint8_t joints, Characters characters) {
    if (characters == Characters::unicode) return unicodeLines[joints];
    if ((joints & (toLeft | toRight)) == 0) return "|";
    return (joints & (up | down)) == 0 ? "-" : "+";
}

bool haveOneLook(const ScreenSpan& one, const ScreenSpan& other) {
    return one.foreground == other.foreground && one.background == other.background && one.isBold == other.isBold &&
           one.isReversed == other.isReversed;
}

}  // namespace

void PictureCanvas::fill(const GridRectangle& place, ScreenColor color) {
    for (std::size_t row = place.top; row < std::min(place.bottom(), rows_ * 2); ++row) {
        for (std::size_t column = place.left; column < std::min(place.right(), columns_); ++column) {
            Cell& cell = cells_[row / 2 * columns_ + column];
            (row % 2 == 0 ? cell.upper : cell.lower) = color;
        }
    }
}

void PictureCanvas::join(std::size_t column, std::size_t row, std::uint8_t side) {
    if (column < columns_ && row < rows_) cells_[row * columns_ + column].joints |= side;
}

void PictureCanvas::box(const GridRectangle& place) {
    for (const std::size_t row : {place.top, place.bottom()}) {
        for (std::size_t column = place.left; column < place.right(); ++column) {
            join(column, row, toRight);
            join(column + 1, row, toLeft);
        }
    }
    for (const std::size_t column : {place.left, place.right()}) {
        for (std::size_t row = place.top; row < place.bottom(); ++row) {
            join(column, row, down);
            join(column, row + 1, up);
        }
    }
}

void PictureCanvas::reverse(const GridRectangle& place) {
    for (std::size_t row = place.top; row < std::min(place.bottom(), rows_); ++row) {
        for (std::size_t column = place.left; column < std::min(place.right(), columns_); ++column)
            cells_[row * columns_ + column].isReversed = true;
    }
}

void PictureCanvas::write(std::size_t row, std::size_t column, std::string_view text, const Look& look) {
    if (row >= rows_) return;
    Cell* const line = cells_.data() + row * columns_;
    Cell* last = nullptr;
    while (!text.empty()) {
        const UTF8Step step = firstUTF8(text);
        const std::string_view own = text.substr(0, step.length);
        text.remove_prefix(step.length);
        const std::size_t width = TerminalText::width(own);
        if (width == 0) {
            if (last != nullptr) last->text += own;
            continue;
        }
        if (column + width > columns_) return;
        last = line + column;
        for (std::size_t part = 0; part < width; ++part) {
            Cell& cell = line[column + part];
            cell.hasText = true;
            cell.look = look;
            cell.text.clear();
        }
        last->text = own;
        column += width;
    }
}

ScreenSpan PictureCanvas::spanOf(const Cell& cell, Characters characters) const {
    ScreenSpan span;
    span.isReversed = cell.isReversed;
    if (cell.hasText) {
        span.text = cell.text;
        span.foreground = cell.look.foreground;
        span.background = cell.look.background;
        span.isBold = cell.look.isBold;
    } else if (cell.joints != 0) {
        span.text = line(cell.joints, characters);
    } else if (cell.upper == cell.lower || characters == Characters::ascii) {
        span.text = " ";
        span.background = cell.upper;
    } else {
        span.text = "▀";
        span.foreground = cell.upper;
        span.background = cell.lower;
        if (cell.upper.isNone()) {
            span.text = "▄";
            span.foreground = cell.lower;
            span.background = {};
        }
    }
    return span;
}

std::vector<ScreenLine> PictureCanvas::lines(Characters characters) const {
    std::vector<ScreenLine> lines(rows_);
    for (std::size_t row = 0; row < rows_; ++row) {
        ScreenLine& line = lines[row];
        for (std::size_t column = 0; column < columns_; ++column) {
            ScreenSpan span = spanOf(cells_[row * columns_ + column], characters);
            if (!line.empty() && haveOneLook(line.back(), span)) {
                line.back().text += span.text;
            } else if (!span.text.empty()) {
                line.push_back(std::move(span));
            }
        }
    }
    return lines;
}

}  // namespace KestrelCLI
