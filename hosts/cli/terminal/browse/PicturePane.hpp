#pragma once

#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/PictureColors.hpp"
#include "terminal/browse/PictureItem.hpp"
#include "terminal/browse/PictureLayout.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

class PictureCanvas;

/// A folder as a picture: each item a rectangle as large as its share, largest at the top left, with what is in it
/// where there is room. In half cells of colour; without colours, or where only ASCII can be shown, by lines around
/// the rectangles. A value; items are named by their index. Copies share what was given.
class PicturePane {
public:
    struct Options {
        Characters characters = Characters::unicode;
        ColorDepth colors = ColorDepth::none;
        PictureColoring coloring = PictureColoring::places;
        SizeUnits units = SizeUnits::decimal;
        PageColors set = PageColors::usual;
    };

    /// Without items and without room.
    PicturePane() = default;
    /// @param items in any order, as the page counts them
    PicturePane(std::vector<PictureItem> items, const Options& options);

    /// Says how much room there is; lays out anew where it differs.
    void resize(std::size_t columns, std::size_t rows);
    void setColoring(PictureColoring coloring) { options_.coloring = coloring; }
    [[nodiscard]] PictureColoring coloring() const { return options_.coloring; }

    /// The item that an arrow leads to from `chosen`; empty at the edge, and for other keys.
    [[nodiscard]] std::optional<std::size_t> neighbour(std::size_t chosen, ScreenKey::Kind direction) const;
    /// The item that is drawn at a place of the pane; of those that are too small for a place of their own the largest.
    [[nodiscard]] std::optional<std::size_t> itemAt(std::size_t row, std::size_t column) const;
    /// The innermost that is drawn there: indexes from the folder's own items inwards; empty where there is none.
    [[nodiscard]] std::vector<std::size_t> pathAt(std::size_t row, std::size_t column) const;

    /// As many lines as there are rows, with `chosen` marked.
    [[nodiscard]] std::vector<ScreenLine> lines(std::optional<std::size_t> chosen) const;
    /// What the colours mean, cut to `columns`; empty where that needs no words.
    [[nodiscard]] ScreenLine legend(std::size_t columns) const;

private:
    [[nodiscard]] bool hasBorders() const {
        return options_.characters == Characters::ascii || options_.colors == ColorDepth::none;
    }
    [[nodiscard]] std::size_t rowHeight() const { return hasBorders() ? 1 : 2; }
    void draw(PictureCanvas& canvas, const PictureTile& tile, bool isChosen) const;
    void frame(PictureCanvas& canvas, const PictureTile& tile) const;
    void label(PictureCanvas& canvas, const PictureTile& tile, bool isChosen) const;
    [[nodiscard]] std::string nameOf(const PictureTile& tile, std::size_t columns) const;
    [[nodiscard]] std::string changeOf(const PictureTile& tile) const;

    Options options_;
    std::shared_ptr<const std::vector<PictureItem>> items_ = std::make_shared<std::vector<PictureItem>>();
    std::size_t columns_ = 0;
    std::size_t rows_ = 0;
    PictureLayout layout_;
};

}  // namespace KestrelCLI
