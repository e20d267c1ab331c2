#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCLI {

/// A part of a grid: columns `left`…`left + width - 1` of rows `top`…`top + height - 1`.
struct GridRectangle {
    std::size_t left = 0;
    std::size_t top = 0;
    std::size_t width = 0;
    std::size_t height = 0;

    [[nodiscard]] std::size_t right() const { return left + width; }  ///< behind the last column
    [[nodiscard]] std::size_t bottom() const { return top + height; }
    [[nodiscard]] std::size_t area() const { return width * height; }
    [[nodiscard]] bool contains(std::size_t column, std::size_t row) const {
        return column >= left && column < right() && row >= top && row < bottom();
    }
    bool operator==(const GridRectangle&) const = default;
};

struct TreemapTile {
    std::size_t index = 0;  ///< of the weight
    GridRectangle place{};

    bool operator==(const TreemapTile&) const = default;
};

/// Weights as rectangles that fill a room without gap or overlap, each as near to a square as may be.
struct Treemap {
    std::vector<TreemapTile> tiles;     ///< heaviest first, equal ones in their order
    std::size_t restCount = 0;          ///< how many weights have no tile of their own
    std::optional<GridRectangle> rest;  ///< the place of those together; empty when they deserve none

    bool operator==(const Treemap&) const = default;
};

struct TreemapOptions {
    /// How high a unit of the room is, in widths of one: 1 for half a character cell, 2 for a whole one.
    double unitHeight = 1;
    /// Units that a weight must deserve for a tile of its own; at least 1.
    std::size_t smallestArea = 1;
    /// What there is beside the weights, shown as part of the rest; not negative.
    std::int64_t further = 0;
};

/// Lays `weights` out in `room`. Those that are not positive, and those that deserve less than `smallestArea`, are the
/// rest, which has its tile in the corner where the lightest are. Empty of tiles when nothing is positive or there is
/// no room; a room that is not empty is filled otherwise. The time grows with the number of weights and the room; only
/// what gets a tile is sorted.
[[nodiscard]] Treemap treemap(std::span<const std::int64_t> weights, const GridRectangle& room,
                              const TreemapOptions& options = {});

}  // namespace KestrelCLI
