#include "terminal/browse/PicturePane.hpp"

#include "terminal/PageText.hpp"
#include "terminal/browse/PictureCanvas.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

// A half cell is about as wide as high, so squares of half cells look like squares. Each rectangle has a darker edge at
// its right and below, which parts it from the next ones; the chosen one is framed in white, and its name stands on
// white. Texts need whole cells: they begin at the first whole line of a rectangle.

namespace KestrelCLI {

namespace {

/// As many columns as a name must have to be worth cutting its middle out rather than its end.
constexpr std::size_t fewestForMiddle = 9;
/// Fewer tell nothing in a coloured rectangle.
constexpr std::size_t fewestForName = 3;

}  // namespace

PicturePane::PicturePane(std::vector<PictureItem> items, const Options& options)
    : options_{options}, items_{std::make_shared<const std::vector<PictureItem>>(std::move(items))} {}

void PicturePane::resize(std::size_t columns, std::size_t rows) {
    if (columns == columns_ && rows == rows_) return;
    columns_ = columns;
    rows_ = rows;
    // The lines at the right and below have a cell of their own.
    const std::size_t line = hasBorders() ? 1 : 0;
    const GridRectangle room{.left = 0,
                             .top = 0,
                             .width = columns - std::min(columns, line),
                             .height = (rows - std::min(rows, line)) * rowHeight()};
    layout_ = PictureLayout{*items_, room, {.rowHeight = rowHeight(), .hasBorders = hasBorders()}};
}

std::optional<std::size_t> PicturePane::neighbour(std::size_t chosen, ScreenKey::Kind direction) const {
    return layout_.neighbour(chosen, direction);
}

std::optional<std::size_t> PicturePane::itemAt(std::size_t row, std::size_t column) const {
    return layout_.itemAt(column, row * rowHeight());
}

std::vector<std::size_t> PicturePane::pathAt(std::size_t row, std::size_t column) const {
    const PictureTile* const tile = layout_.tileAt(column, row * rowHeight());
    return tile == nullptr ? std::vector<std::size_t>{} : tile->path;
}

/// What stands for the tile, in at most `columns`.
std::string PicturePane::nameOf(const PictureTile& tile, std::size_t columns) const {
    if (tile.item == nullptr) {
        const std::string count = ByteFormat::count(static_cast<std::int64_t>(tile.restCount));
        if (tile.restCount == 0) return clipped("other", columns, options_.characters);
        for (const std::string& text :
             {count + (tile.restCount == 1 ? " smaller item" : " smaller items"), count + " smaller", "+" + count}) {
            if (text.size() <= columns) return text;
        }
        return {};
    }
    std::string name = TerminalText::escaped(tile.item->name, options_.characters);
    if (tile.item->isFolder) name += '/';
    if (TerminalText::width(name) <= columns) return name;
    if (columns >= fewestForMiddle) return fitted(name, columns, options_.characters);
    return clipped(name, columns, options_.characters);
}

/// With its sign; empty when there was none, or it is not known.
std::string PicturePane::changeOf(const PictureTile& tile) const {
    if (tile.item == nullptr) return {};
    const std::int64_t change = tile.item->change.value_or(0);
    if (change == 0) return {};
    const std::string_view minus = options_.characters == Characters::unicode ? "−" : "-";
    return fmt::format("{}{}", change > 0 ? "+" : minus,
                       ByteFormat::rounded(change > 0 ? change : -change, options_.units));
}

/// The name, and below it or behind it sizes. Where the tile is chosen and has no lines, its name stands on white.
void PicturePane::label(PictureCanvas& canvas, const PictureTile& tile, bool isChosen) const {
    const PictureColors colors{options_.coloring, options_.colors, options_.set};
    const PicturePaint paint = colors.of(tile);
    const PicturePaint namePaint = isChosen && !hasBorders() ? colors.chosen() : paint;
    const GridRectangle& place = tile.place;
    const std::size_t indent = hasBorders() ? 1 : (place.width >= 7 ? 1 : 0);
    const std::size_t after = hasBorders() ? 0 : (place.width >= 3 ? 1 : 0);
    if (place.width <= indent + after) return;
    const std::size_t columns = place.width - indent - after;
    if (columns < (hasBorders() ? 1 : fewestForName)) return;
    // The last line of text may be one with the edge below only where it is the first, too.
    const std::size_t whole = place.bottom() / rowHeight();
    const std::size_t aboveEdge = hasBorders() ? whole : (place.bottom() - 1) / rowHeight();
    const std::size_t last = tile.isFrame ? tile.labelRow + 1 : std::max(aboveEdge, std::min(whole, tile.labelRow + 1));
    if (tile.labelRow >= last) return;

    const std::string size = ByteFormat::rounded(
        tile.item == nullptr ? tile.restBytes : std::max<std::int64_t>(0, tile.item->bytes), options_.units);
    const std::string change = changeOf(tile);
    std::vector<std::string> further{size};
    if (!change.empty()) {
        further.insert(options_.coloring == PictureColoring::changes ? further.begin() : further.end(), change);
    }
    const std::size_t room = last - tile.labelRow;
    const std::string name = nameOf(tile, columns);
    const PictureCanvas::Look bold{.foreground = namePaint.text, .background = namePaint.ground, .isBold = true};
    const PictureCanvas::Look beside{
        .foreground = namePaint.quietText, .background = namePaint.ground, .isBold = false};
    const PictureCanvas::Look quiet{.foreground = paint.quietText, .background = paint.ground, .isBold = false};
    const std::size_t column = place.left + indent;
    if (isChosen && !hasBorders()) canvas.fill({place.left, tile.labelRow * 2, place.width, 2}, namePaint.ground);
    const std::string marked = isChosen && hasBorders() && columns > name.size() + 2 ? "> " + name : name;
    canvas.write(tile.labelRow, column, marked, bold);
    if (room == 1) {
        const std::size_t width = TerminalText::width(further.front());
        if (columns >= TerminalText::width(marked) + 2 + width)
            canvas.write(tile.labelRow, column + columns - width, further.front(), beside);
        return;
    }
    for (std::size_t index = 0; index < further.size() && index + 1 < room; ++index) {
        if (TerminalText::width(further[index]) > columns) continue;
        canvas.write(tile.labelRow + 1 + index, column, further[index], quiet);
    }
}

void PicturePane::draw(PictureCanvas& canvas, const PictureTile& tile, bool isChosen) const {
    const PictureColors colors{options_.coloring, options_.colors, options_.set};
    const PicturePaint paint = colors.of(tile);
    const GridRectangle& place = tile.place;
    if (hasBorders()) {
        canvas.fill({place.left, place.top * 2, place.width, place.height * 2}, paint.ground);
        canvas.box(place);
    } else {
        canvas.fill(place, paint.ground);
        if (place.width >= 2) canvas.fill({place.right() - 1, place.top, 1, place.height}, paint.edge);
        if (place.height >= 2) canvas.fill({place.left, place.bottom() - 1, place.width, 1}, paint.edge);
    }
    label(canvas, tile, isChosen);
}

/// Marks the chosen tile, over all that is drawn in it.
void PicturePane::frame(PictureCanvas& canvas, const PictureTile& tile) const {
    const GridRectangle& place = tile.place;
    if (hasBorders()) {
        if (place.width < 2 || place.height < 2) {
            canvas.reverse({place.left, place.top, place.width + 1, place.height + 1});
        } else {
            canvas.reverse({place.left + 1, place.top + 1, place.width - 1, place.height - 1});
        }
        label(canvas, tile, true);
        return;
    }
    const PicturePaint paint = PictureColors{options_.coloring, options_.colors, options_.set}.chosen();
    if (place.width < 4 || place.height < 4) {
        canvas.fill(place, paint.ground);
    } else {
        canvas.fill({place.left, place.top, place.width, 1}, paint.ground);
        canvas.fill({place.left, place.bottom() - 1, place.width, 1}, paint.ground);
        canvas.fill({place.left, place.top, 1, place.height}, paint.ground);
        canvas.fill({place.right() - 1, place.top, 1, place.height}, paint.ground);
    }
    label(canvas, tile, true);
}

std::vector<ScreenLine> PicturePane::lines(std::optional<std::size_t> chosen) const {
    PictureCanvas canvas{columns_, rows_};
    const PictureTile* const marked = chosen ? layout_.tileOf(*chosen) : nullptr;
    for (const PictureTile& tile : layout_.tiles()) draw(canvas, tile, false);
    if (marked != nullptr) frame(canvas, *marked);
    if (layout_.tiles().empty() && rows_ > 0) {
        const std::string text = clipped("Nothing here takes space.", columns_, options_.characters);
        canvas.write(0, 0, text, {});
    }
    return canvas.lines(options_.characters);
}

ScreenLine PicturePane::legend(std::size_t columns) const {
    ScreenLine line;
    if (options_.colors == ColorDepth::none) return line;
    std::size_t used = 0;
    for (const PictureColors::Meaning& each :
         PictureColors{options_.coloring, options_.colors, options_.set}.meanings(*items_)) {
        const std::size_t width = 3 + each.name.size() + (used > 0 ? 2 : 0);
        if (used + width > columns) break;
        if (used > 0) line.push_back({.text = "  ", .style = Style::plain});
        line.push_back({.text = "  ", .style = Style::plain, .foreground = {}, .background = each.color});
        line.push_back({.text = " " + std::string{each.name}, .style = Style::quiet});
        used += width;
    }
    return line;
}

}  // namespace KestrelCLI
