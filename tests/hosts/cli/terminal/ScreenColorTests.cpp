#include "terminal/ScreenColor.hpp"

#include <gtest/gtest.h>

namespace KestrelCLI {

namespace {

TEST(ScreenColor, becomesTheNearestThatThereIs) {
    const ScreenColor orange = ScreenColor::rgb(255, 135, 0);
    EXPECT_EQ(orange.within(ColorDepth::direct), orange);
    EXPECT_EQ(orange.within(ColorDepth::indexed), ScreenColor::indexed(208));  // exactly
    EXPECT_EQ(ScreenColor::rgb(250, 20, 10).within(ColorDepth::sixteen), ScreenColor::indexed(9));
    EXPECT_EQ(ScreenColor::rgb(250, 20, 10).within(ColorDepth::eight), ScreenColor::indexed(1));
    EXPECT_EQ(ScreenColor::rgb(128, 128, 130).within(ColorDepth::indexed), ScreenColor::indexed(244));
    EXPECT_TRUE(orange.within(ColorDepth::none).isNone());
}

TEST(ScreenColor, keepsWhatTheTerminalHasByNumber) {
    EXPECT_EQ(ScreenColor::indexed(208).within(ColorDepth::direct), ScreenColor::indexed(208));
    EXPECT_EQ(ScreenColor::indexed(12).within(ColorDepth::sixteen), ScreenColor::indexed(12));
    EXPECT_EQ(ScreenColor::indexed(12).within(ColorDepth::eight), ScreenColor::indexed(4));
    EXPECT_EQ(ScreenColor::indexed(196).within(ColorDepth::eight), ScreenColor::indexed(1));
    EXPECT_TRUE(ScreenColor{}.within(ColorDepth::direct).isNone());
}

TEST(ScreenColor, knowsThePartsOfTheIndexedOnes) {
    EXPECT_EQ(ScreenColor::indexed(16).parts(), (ScreenColor::Parts{0, 0, 0}));
    EXPECT_EQ(ScreenColor::indexed(208).parts(), (ScreenColor::Parts{255, 135, 0}));
    EXPECT_EQ(ScreenColor::indexed(231).parts(), (ScreenColor::Parts{255, 255, 255}));
    EXPECT_EQ(ScreenColor::indexed(232).parts(), (ScreenColor::Parts{8, 8, 8}));
    EXPECT_EQ(ScreenColor::indexed(255).parts(), (ScreenColor::Parts{238, 238, 238}));
}

}  // namespace

}  // namespace KestrelCLI
