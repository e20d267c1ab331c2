#include "terminal/browse/PictureColors.hpp"

#include "KestrelCore/Model/ItemCategory.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace KestrelCLI {

namespace {

ScreenColor ground(PictureColoring coloring, PageColors set, const PictureItem& item, std::size_t rank = 0) {
    const PictureColors colors{coloring, ColorDepth::direct, set};
    return colors.of({.item = &item, .path = {0}, .rank = rank}).ground;
}

/// How far apart two colours are for somebody to whom red and green look alike.
double distance(ScreenColor a, ScreenColor b) {
    const auto yellowness = [](ScreenColor color) { return 0.625 * color.parts().red + 0.375 * color.parts().green; };
    return std::abs(yellowness(a) - yellowness(b)) + std::abs(static_cast<double>(a.parts().blue) - b.parts().blue);
}

}  // namespace

TEST(PictureColors, tellPlacesAndKindsApartWithoutRedAndGreen) {
    PictureItem item;
    std::vector<ScreenColor> places;
    for (std::size_t rank = 0; rank < 7; ++rank)
        places.push_back(ground(PictureColoring::places, PageColors::colorBlind, item, rank));
    std::vector<ScreenColor> kinds;
    for (const KestrelCore::ItemCategory category : KestrelCore::allItemCategories) {
        item.category = category;
        kinds.push_back(ground(PictureColoring::kinds, PageColors::colorBlind, item));
    }
    item.isFolder = true;
    kinds.push_back(ground(PictureColoring::kinds, PageColors::colorBlind, item));
    for (const std::vector<ScreenColor>& colors : {places, kinds}) {
        for (std::size_t a = 0; a < colors.size(); ++a) {
            for (std::size_t b = 0; b < a; ++b) EXPECT_GE(distance(colors[a], colors[b]), 30) << a << ' ' << b;
        }
    }
}

TEST(PictureColors, keepToThoseOfTheTerminalWhereTheyAreToDoSo) {
    const PictureItem item;
    EXPECT_FALSE(ground(PictureColoring::places, PageColors::usual, item).isIndexed());
    const ScreenColor own = ground(PictureColoring::places, PageColors::terminal, item);
    ASSERT_TRUE(own.isIndexed());
    EXPECT_LT(own.index(), 16);
}

}  // namespace KestrelCLI
