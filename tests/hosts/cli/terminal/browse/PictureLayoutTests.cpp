#include "terminal/browse/PictureLayout.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

using Kind = ScreenKey::Kind;

PictureItem file(std::int64_t bytes) {
    return {.name = "file", .bytes = bytes, .isFolder = false, .category = {}, .change = {}, .children = {}};
}

PictureItem folder(std::int64_t bytes, std::vector<PictureItem> children) {
    return {.name = "folder",
            .bytes = bytes,
            .isFolder = true,
            .category = {},
            .change = {},
            .children = std::move(children)};
}

constexpr PictureLayout::Measures halfCells{.rowHeight = 2, .hasBorders = false};

TEST(PictureLayout, drawsContentBelowTheNameOfItsFolder) {
    const std::vector<PictureItem> items{file(100), folder(300, {file(200), file(100)})};
    const PictureLayout layout{items, {0, 0, 80, 48}, halfCells};
    ASSERT_EQ(layout.tiles().size(), 4U);
    const PictureTile& frame = layout.tiles()[0];
    EXPECT_EQ(frame.item, &items[1]);
    EXPECT_TRUE(frame.isFrame);
    for (const std::size_t index : {1U, 2U}) {
        const PictureTile& inner = layout.tiles()[index];
        EXPECT_EQ(inner.path, (std::vector<std::size_t>{1, index - 1}));
        EXPECT_GE(inner.place.top, (frame.labelRow + 1) * 2);
        EXPECT_LE(inner.place.right(), frame.place.right());
        EXPECT_LE(inner.place.bottom(), frame.place.bottom());
        EXPECT_EQ(inner.rank, 0U);
    }
    EXPECT_EQ(layout.tiles()[3].path, std::vector<std::size_t>{0});
    EXPECT_EQ(layout.tiles()[3].rank, 1U);
}

TEST(PictureLayout, drawsNoContentWhereThereIsNoRoomForIt) {
    const std::vector<PictureItem> items{folder(300, {file(200), file(100)})};
    EXPECT_EQ((PictureLayout{items, {0, 0, 12, 48}, halfCells}.tiles().size()), 1U);
    EXPECT_EQ((PictureLayout{items, {0, 0, 80, 6}, halfCells}.tiles().size()), 1U);
    EXPECT_TRUE((PictureLayout{items, {0, 0, 0, 0}, halfCells}.tiles().empty()));
}

TEST(PictureLayout, showsWhatOfAFolderIsNotAmongItsItems) {
    const std::vector<PictureItem> items{folder(400, {file(100)})};
    const PictureLayout layout{items, {0, 0, 80, 48}, halfCells};
    ASSERT_EQ(layout.tiles().size(), 3U);
    EXPECT_EQ(layout.tiles()[2].item, nullptr);
    EXPECT_EQ(layout.tiles()[2].restBytes, 300);
    EXPECT_EQ(layout.tiles()[2].restCount, 0U);
}

TEST(PictureLayout, countsWhatIsTooSmall) {
    std::vector<PictureItem> items(1000, file(1));
    items.push_back(file(1000));
    items[7].bytes = -5;
    const PictureLayout layout{items, {0, 0, 20, 20}, halfCells};
    ASSERT_EQ(layout.tiles().size(), 2U);
    EXPECT_EQ(layout.tiles()[1].restCount, 1000U);
    EXPECT_EQ(layout.tiles()[1].restBytes, 999);
}

TEST(PictureLayout, leadsToTheNeighbourAnArrowPointsTo) {
    // The first one at the left, the second at the top right, the third below that, the fourth below the third.
    const std::vector<PictureItem> items{file(200), file(100), file(50), file(50)};
    const PictureLayout layout{items, {0, 0, 40, 40}, halfCells};
    EXPECT_EQ(layout.itemAt(0, 0), 0U);
    EXPECT_EQ(layout.itemAt(39, 0), 1U);
    EXPECT_EQ(layout.itemAt(39, 39), 3U);
    EXPECT_EQ(layout.neighbour(1, Kind::left), 0U);
    EXPECT_EQ(layout.neighbour(1, Kind::up), std::nullopt);
    EXPECT_EQ(layout.neighbour(1, Kind::right), std::nullopt);
    EXPECT_EQ(layout.neighbour(2, Kind::up), 1U);
    EXPECT_EQ(layout.neighbour(2, Kind::down), 3U);
    EXPECT_EQ(layout.neighbour(3, Kind::up), 2U);
    EXPECT_EQ(layout.neighbour(3, Kind::left), 0U);
    EXPECT_EQ(layout.neighbour(0, Kind::left), std::nullopt);
    EXPECT_EQ(layout.neighbour(0, Kind::enter), std::nullopt);
}

TEST(PictureLayout, everyItemWithATileCanBeReachedByArrows) {
    std::vector<PictureItem> items;
    for (std::int64_t index = 1; index <= 40; ++index) items.push_back(file(1000 / index));
    const PictureLayout layout{items, {0, 0, 80, 46}, halfCells};
    std::vector<bool> isReached(items.size());
    std::vector<std::size_t> open{0};
    while (!open.empty()) {
        const std::size_t item = open.back();
        open.pop_back();
        if (isReached[item]) continue;
        isReached[item] = true;
        for (const Kind arrow : {Kind::left, Kind::right, Kind::up, Kind::down}) {
            if (const auto next = layout.neighbour(item, arrow)) open.push_back(*next);
        }
    }
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(isReached, true)), layout.tiles().size());
}

TEST(PictureLayout, takesTheLargestOfThoseThatShareATile) {
    std::vector<PictureItem> items(100, file(1));
    items[60].bytes = 2;
    items.push_back(file(150));
    const PictureLayout layout{items, {0, 0, 12, 12}, halfCells};
    ASSERT_EQ(layout.tiles().size(), 2U);
    const GridRectangle& rest = layout.tiles()[1].place;
    EXPECT_EQ(layout.itemAt(rest.left, rest.top), 60U);
    EXPECT_EQ(layout.tileOf(5), &layout.tiles()[1]);
    EXPECT_EQ(layout.tileOf(100), &layout.tiles()[0]);
    EXPECT_EQ(layout.itemAt(12, 12), std::nullopt);
}

}  // namespace

}  // namespace KestrelCLI
