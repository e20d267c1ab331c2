#include "Platform/macOS/Sensors/Portable/PowerSourceValues.hpp"

#include "Metrics/SystemMetricsRules.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {
namespace {

TEST(PowerSourceValues, aFullBatteryOnMainsPowerCountsAsCharging) {
    const PowerSource source = powerSourceOf(100, 100, "AC Power");
    EXPECT_EQ(source.state, PowerSourceState::mains);
    EXPECT_EQ(isOnMains(source), true);
    EXPECT_EQ(chargeFraction(source), 1.0);
}

TEST(PowerSourceValues, anyOtherStateDoesNot) {
    EXPECT_EQ(powerSourceOf(1, 2, "Battery Power").state, PowerSourceState::battery);
    EXPECT_EQ(powerSourceOf(1, 2, "Off Line").state, PowerSourceState::offline);
    // A missing state says no as well, and not that nothing is known.
    for (const auto& state : {std::optional<std::string_view>{}, std::optional<std::string_view>{"ac power"}}) {
        EXPECT_FALSE(powerSourceOf(1, 2, state).state);
        EXPECT_EQ(isOnMains(powerSourceOf(1, 2, state)), false);
    }
}

TEST(PowerSourceValues, aCapacityThatIsMissingLeavesTheChargeUnknown) {
    EXPECT_FALSE(chargeFraction(powerSourceOf({}, 100, "AC Power")));
    EXPECT_FALSE(chargeFraction(powerSourceOf(50, {}, "AC Power")));
    EXPECT_EQ(chargeFraction(powerSourceOf(50, 200, {})), 0.25);
}

}  // namespace
}  // namespace KestrelCore
