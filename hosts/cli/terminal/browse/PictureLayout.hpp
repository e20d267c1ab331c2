#pragma once

#include "output/Treemap.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/PictureItem.hpp"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCLI {

/// A rectangle of the picture.
struct PictureTile {
    GridRectangle place{};
    const PictureItem* item = nullptr;  ///< null for what is too small to have a tile of its own, together
    std::vector<std::size_t> path{};    ///< the item's index in its folder, with those of the folders above, or theirs
    std::size_t level = 0;              ///< 0 for the items of the folder itself
    std::size_t rank = 0;               ///< of the item of the folder itself that it is or is in: 0 for the largest
    std::size_t labelRow = 0;           ///< the first row of text that lies wholly in it
    bool isFrame = false;               ///< content is drawn in it, below the label
    std::size_t restCount = 0;          ///< of items that are too small
    std::int64_t restBytes = 0;         ///< what these take, and what of the folder is not among its items
};

/// Where each item of a folder lies in its picture, and what is beside what. A value; `items` must outlive it.
class PictureLayout {
public:
    struct Measures {
        std::size_t rowHeight = 2;  ///< units of the grid in a row of text: 2 for half cells, 1 for whole ones
        bool hasBorders = false;    ///< each tile's first row and column are a line
    };

    PictureLayout() = default;
    /// @param room in units; begins at a whole row of text
    PictureLayout(std::span<const PictureItem> items, const GridRectangle& room, const Measures& measures);

    /// Frames before what is in them.
    [[nodiscard]] const std::vector<PictureTile>& tiles() const { return tiles_; }

    /// The tile of an item of the folder itself, or the one that it shares; null when there is none.
    [[nodiscard]] const PictureTile* tileOf(std::size_t item) const;
    /// The innermost tile there; null outside.
    [[nodiscard]] const PictureTile* tileAt(std::size_t column, std::size_t row) const;

    /// The item of the folder itself whose tile is there; of several that share one the largest.
    [[nodiscard]] std::optional<std::size_t> itemAt(std::size_t column, std::size_t row) const;
    /// The item of the folder itself that one gets to from `item` by going `direction` (an arrow), the largest when
    /// `item` has no tile; empty at the edge.
    [[nodiscard]] std::optional<std::size_t> neighbour(std::size_t item, ScreenKey::Kind direction) const;

private:
    void layOut(std::span<const PictureItem> items, std::int64_t further, const GridRectangle& room,
                const std::vector<std::size_t>& path, std::size_t rank);
    [[nodiscard]] std::optional<GridRectangle> contentRoom(const PictureTile& tile) const;
    [[nodiscard]] std::optional<std::size_t> itemOf(const PictureTile* tile) const;

    Measures measures_;
    std::vector<PictureTile> tiles_;
    std::optional<std::size_t> largestOfRest_;  ///< of the folder itself
};

}  // namespace KestrelCLI
