#include "terminal/browse/PictureLayout.hpp"

#include <algorithm>
#include <utility>

namespace KestrelCLI {

namespace {

/// Deeper ones would be drawn too small to tell anything.
constexpr std::size_t mostLevels = 3;

/// The room, in columns and rows of text, that content needs to be drawn in its folder's tile.
constexpr std::size_t fewestContentColumns = 14;
constexpr std::size_t fewestContentRows = 3;

}  // namespace

PictureLayout::PictureLayout(std::span<const PictureItem> items, const GridRectangle& room, const Measures& measures)
    : measures_{measures} {
    layOut(items, 0, room, {}, 0);
    std::vector<bool> hasTile(items.size());
    for (const PictureTile& tile : tiles_) {
        if (tile.level == 0 && tile.item != nullptr) hasTile[tile.path.front()] = true;
    }
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (hasTile[index]) continue;
        if (!largestOfRest_ || items[index].bytes > items[*largestOfRest_].bytes) largestOfRest_ = index;
    }
}

/// @param further what the folder takes beside `items`
void PictureLayout::layOut(std::span<const PictureItem> items, std::int64_t further, const GridRectangle& room,
                           const std::vector<std::size_t>& path, std::size_t rank) {
    std::vector<std::int64_t> weights;
    weights.reserve(items.size());
    std::ranges::transform(items, std::back_inserter(weights), &PictureItem::bytes);
    const bool isInner = !path.empty();
    const double unitHeight = measures_.rowHeight == 1 ? 2 : 1;
    // Tiles with lines around them need room within; in folders many small tiles tell nothing.
    const std::size_t smallestArea = measures_.hasBorders ? (isInner ? 18 : 9) : (isInner ? 12 : 3);
    const Treemap map =
        treemap(weights, room, {.unitHeight = unitHeight, .smallestArea = smallestArea, .further = further});
    const auto labelRow = [this](const GridRectangle& place) {
        const std::size_t first = place.top + (measures_.hasBorders ? 1 : 0);
        return (first + measures_.rowHeight - 1) / measures_.rowHeight;
    };
    std::int64_t restBytes = further;
    for (const std::int64_t weight : weights) restBytes += std::max<std::int64_t>(0, weight);
    for (const TreemapTile& each : map.tiles) {
        const auto& [index, place] = each;
        restBytes -= weights[index];
        PictureTile tile{.place = place,
                         .item = &items[index],
                         .path = path,
                         .level = path.size(),
                         .rank = isInner ? rank : static_cast<std::size_t>(&each - map.tiles.data()),
                         .labelRow = labelRow(place),
                         .isFrame = false,
                         .restCount = 0,
                         .restBytes = 0};
        tile.path.push_back(index);
        const std::optional<GridRectangle> content = contentRoom(tile);
        tile.isFrame = content.has_value();
        tiles_.push_back(tile);
        if (!content) continue;
        std::int64_t inside = 0;
        for (const PictureItem& child : tile.item->children) inside += std::max<std::int64_t>(0, child.bytes);
        layOut(tile.item->children, std::max<std::int64_t>(0, tile.item->bytes - inside), *content, tile.path,
               tile.rank);
    }
    if (!map.rest) return;
    tiles_.push_back({.place = *map.rest,
                      .item = nullptr,
                      .path = path,
                      .level = path.size(),
                      .rank = rank,
                      .labelRow = labelRow(*map.rest),
                      .isFrame = false,
                      .restCount = map.restCount,
                      .restBytes = restBytes});
}

/// Where the content of a folder is drawn in its tile; empty where there is no content or no room.
std::optional<GridRectangle> PictureLayout::contentRoom(const PictureTile& tile) const {
    if (tile.level + 1 >= mostLevels) return {};
    if (std::ranges::none_of(tile.item->children, [](const PictureItem& child) { return child.bytes > 0; })) return {};
    const GridRectangle& place = tile.place;
    const std::size_t top = (tile.labelRow + 1) * measures_.rowHeight;
    if (place.bottom() < top + fewestContentRows * measures_.rowHeight || place.width < fewestContentColumns) return {};
    if (measures_.hasBorders) {
        return GridRectangle{.left = place.left, .top = top, .width = place.width, .height = place.bottom() - top};
    }
    // The folder's own colour shows above and at the left; at the other sides the content has edges of its own.
    return GridRectangle{.left = place.left + 1, .top = top, .width = place.width - 1, .height = place.bottom() - top};
}

const PictureTile* PictureLayout::tileOf(std::size_t item) const {
    const PictureTile* rest = nullptr;
    for (const PictureTile& tile : tiles_) {
        if (tile.level != 0) continue;
        if (tile.item == nullptr) rest = &tile;
        if (tile.item != nullptr && tile.path.front() == item) return &tile;
    }
    return rest;
}

const PictureTile* PictureLayout::tileAt(std::size_t column, std::size_t row) const {
    const PictureTile* innermost = nullptr;
    for (const PictureTile& tile : tiles_) {
        if (tile.place.contains(column, row)) innermost = &tile;
    }
    return innermost;
}

std::optional<std::size_t> PictureLayout::itemOf(const PictureTile* tile) const {
    if (tile == nullptr) return {};
    return tile->path.empty() ? largestOfRest_ : tile->path.front();
}

std::optional<std::size_t> PictureLayout::itemAt(std::size_t column, std::size_t row) const {
    return itemOf(tileAt(column, row));
}

std::optional<std::size_t> PictureLayout::neighbour(std::size_t item, ScreenKey::Kind direction) const {
    using Kind = ScreenKey::Kind;
    const PictureTile* const own = tileOf(item);
    if (own == nullptr) return tiles_.empty() ? std::nullopt : itemOf(&tiles_.front());
    // Straight on from the middle.
    const GridRectangle& place = own->place;
    const std::size_t column = place.left + place.width / 2;
    const std::size_t row = place.top + place.height / 2;
    switch (direction) {
    case Kind::left: return place.left == 0 ? std::nullopt : itemAt(place.left - 1, row);
    case Kind::right: return itemAt(place.right(), row);
    case Kind::up: return place.top == 0 ? std::nullopt : itemAt(column, place.top - 1);
    case Kind::down: return itemAt(column, place.bottom());
    default: return {};
    }
}

}  // namespace KestrelCLI
