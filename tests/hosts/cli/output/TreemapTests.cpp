#include "output/Treemap.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace KestrelCLI {

namespace {

using Weights = std::vector<std::int64_t>;

/// Whether each unit of `room` is in exactly one of the places, and no place reaches beyond.
bool fills(const Treemap& map, const GridRectangle& room) {
    std::vector<int> covers(room.area());
    const auto cover = [&](const GridRectangle& place) {
        if (place.area() == 0 || place.left < room.left || place.top < room.top || place.right() > room.right() ||
            place.bottom() > room.bottom())
            return false;
        for (std::size_t row = place.top; row < place.bottom(); ++row) {
            for (std::size_t column = place.left; column < place.right(); ++column)
                ++covers[(row - room.top) * room.width + column - room.left];
        }
        return true;
    };
    const bool areInside =
        std::ranges::all_of(map.tiles, cover, &TreemapTile::place) && (!map.rest || cover(*map.rest));
    return areInside && std::ranges::all_of(covers, [](int count) { return count == 1; });
}

TEST(Treemap, ofOneWeightIsTheWholeRoom) {
    const Treemap map = treemap(Weights{7}, {.left = 2, .top = 3, .width = 10, .height = 5});
    EXPECT_EQ(map.tiles, (std::vector{TreemapTile{.index = 0, .place = {2, 3, 10, 5}}}));
    EXPECT_EQ(map.restCount, 0U);
    EXPECT_EQ(map.rest, std::nullopt);
}

TEST(Treemap, givesEachItsShare) {
    // The example of which the squares can be worked out by hand.
    const Treemap map = treemap(Weights{2, 6, 1, 3, 6, 4, 2}, {.left = 0, .top = 0, .width = 6, .height = 4});
    const std::vector<TreemapTile> expected{{.index = 1, .place = {0, 0, 3, 2}},
                                            {.index = 4, .place = {0, 2, 3, 2}},
                                            {.index = 5, .place = {3, 0, 2, 2}},
                                            {.index = 3, .place = {5, 0, 1, 2}}};
    ASSERT_GE(map.tiles.size(), 4U);
    EXPECT_EQ(std::vector(map.tiles.begin(), map.tiles.begin() + 4), expected);
    EXPECT_TRUE(fills(map, {0, 0, 6, 4}));
}

TEST(Treemap, hasNothingWhereThereIsNoWeightOrNoRoom) {
    const GridRectangle room{.left = 0, .top = 0, .width = 10, .height = 10};
    for (const Weights& weights : {Weights{}, Weights{0, 0}, Weights{-5, 0}}) {
        const Treemap map = treemap(weights, room);
        EXPECT_TRUE(map.tiles.empty());
        EXPECT_EQ(map.restCount, weights.size());
        EXPECT_EQ(map.rest, std::nullopt);
    }
    EXPECT_TRUE(treemap(Weights{1, 2}, {.left = 0, .top = 0, .width = 0, .height = 9}).tiles.empty());
}

TEST(Treemap, putsTogetherWhatDeservesNoUnit) {
    const Treemap map = treemap(Weights(100'000, 5), {.left = 0, .top = 0, .width = 20, .height = 10});
    EXPECT_TRUE(map.tiles.empty());
    EXPECT_EQ(map.restCount, 100'000U);
    EXPECT_EQ(map.rest, (GridRectangle{0, 0, 20, 10}));
}

TEST(Treemap, showsTheLargestAloneInTheSmallestRoom) {
    const GridRectangle unit{.left = 0, .top = 0, .width = 1, .height = 1};
    EXPECT_EQ(treemap(Weights{9}, unit).tiles.size(), 1U);
    const Treemap map = treemap(Weights{1, 9, 2}, unit);
    EXPECT_TRUE(fills(map, unit));
    EXPECT_EQ(map.restCount, 3U);  // none of them deserves it
}

TEST(Treemap, survivesHugeRatiosAndSums) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const GridRectangle room{.left = 0, .top = 0, .width = 80, .height = 48};
    const Treemap map = treemap(Weights{1, most, most, 0, most, 1}, room);
    EXPECT_EQ(map.tiles.size(), 3U);
    EXPECT_EQ(map.restCount, 3U);
    EXPECT_EQ(map.rest, std::nullopt);
    EXPECT_TRUE(fills(map, room));
}

TEST(Treemap, countsWhatIsNotAmongTheWeightsAsRest) {
    const GridRectangle room{.left = 0, .top = 0, .width = 10, .height = 10};
    const Treemap map = treemap(Weights{50}, room, {.unitHeight = 1, .smallestArea = 1, .further = 50});
    ASSERT_TRUE(map.rest);
    EXPECT_EQ(map.rest->area(), 50U);
    EXPECT_EQ(map.restCount, 0U);
}

TEST(Treemap, makesTilesThatLookSquareOfUnitsThatAreNot) {
    // Units twice as high as wide: two equal weights in a room that looks twice as wide as high lie side by side.
    const Treemap map = treemap(Weights{1, 1}, {0, 0, 40, 10}, {.unitHeight = 2, .smallestArea = 1, .further = 0});
    EXPECT_EQ(map.tiles[0].place, (GridRectangle{0, 0, 20, 10}));
    // And in one that looks higher than wide, one above the other, though it has more columns than rows.
    const Treemap high = treemap(Weights{1, 1}, {0, 0, 12, 10}, {.unitHeight = 2, .smallestArea = 1, .further = 0});
    EXPECT_EQ(high.tiles[0].place, (GridRectangle{0, 0, 12, 5}));
}

TEST(Treemap, keepsTheOrderOfEqualWeights) {
    const Treemap map = treemap(Weights(12, 3), {.left = 0, .top = 0, .width = 12, .height = 9});
    ASSERT_EQ(map.tiles.size(), 12U);
    for (std::size_t index = 0; index < 12; ++index) EXPECT_EQ(map.tiles[index].index, index);
}

RC_GTEST_PROP(Treemap, fillsTheRoomByShares, ()) {
    const auto count = *rc::gen::inRange(0, 60);
    const auto largest = *rc::gen::element<std::int64_t>(1, 10, 1000, 1'000'000'000);
    const auto weights =
        *rc::gen::container<Weights>(static_cast<std::size_t>(count), rc::gen::inRange<std::int64_t>(0, largest + 1));
    const GridRectangle room{.left = *rc::gen::inRange<std::size_t>(0, 3),
                             .top = *rc::gen::inRange<std::size_t>(0, 3),
                             .width = *rc::gen::inRange<std::size_t>(1, 60),
                             .height = *rc::gen::inRange<std::size_t>(1, 40)};
    const TreemapOptions options{.unitHeight = *rc::gen::element(1.0, 2.0),
                                 .smallestArea = *rc::gen::inRange<std::size_t>(1, 8),
                                 .further = *rc::gen::element<std::int64_t>(0, 0, 500)};
    const Treemap map = treemap(weights, room, options);
    const auto total = static_cast<double>(std::accumulate(weights.begin(), weights.end(), options.further));
    RC_ASSERT(map.tiles.size() + map.restCount == weights.size());
    if (total == 0) {
        RC_ASSERT(map.tiles.empty() && !map.rest);
        return;
    }
    RC_ASSERT(fills(map, room));
    // Heaviest first, and each has a tile that deserves one.
    std::vector<bool> hasTile(weights.size());
    for (std::size_t index = 0; index < map.tiles.size(); ++index) {
        hasTile[map.tiles[index].index] = true;
        if (index == 0) continue;
        const std::int64_t before = weights[map.tiles[index - 1].index];
        const std::int64_t own = weights[map.tiles[index].index];
        RC_ASSERT(before > own || (before == own && map.tiles[index - 1].index < map.tiles[index].index));
    }
    const double perUnit = total / static_cast<double>(room.area());
    double error = 0;
    for (std::size_t index = 0; index < weights.size(); ++index) {
        const double deserved = static_cast<double>(weights[index]) / perUnit;
        const auto smallest = static_cast<double>(options.smallestArea);
        if (deserved > smallest * 1.000001) RC_ASSERT(hasTile[index]);
        if (deserved < smallest * 0.999999) RC_ASSERT(!hasTile[index]);
    }
    for (const TreemapTile& tile : map.tiles) {
        const double deserved = static_cast<double>(weights[tile.index]) / perUnit;
        error += std::abs(static_cast<double>(tile.place.area()) - deserved);
    }
    // Each edge is off by half a unit at most where the strips are as thick as they should be; strips of single units
    // are not, so this is a bound for the whole.
    RC_ASSERT(error <= static_cast<double>(room.area()));
    // A tile of many units is what it should be within what its edges can be off.
    if (!map.tiles.empty() && options.unitHeight == 1.0) {
        const GridRectangle& first = map.tiles.front().place;
        const double deserved = static_cast<double>(weights[map.tiles.front().index]) / perUnit;
        const auto edges = static_cast<double>(first.width + first.height + 1);
        RC_ASSERT(std::abs(static_cast<double>(first.area()) - deserved) <= edges);
    }
}

}  // namespace

}  // namespace KestrelCLI
