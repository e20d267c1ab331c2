#include "Platform/Linux/Sensors/SensorText.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {
namespace {

using SensorText::PowerSupply;
using SensorText::ThermalZone;

std::optional<PowerSource> firstOf(std::vector<PowerSupply> supplies) { return SensorText::firstPowerSource(supplies); }

TEST(PowerSupplyText, takesTheFirstBatteryOfTheMachineItself) {
    const auto source = firstOf({{.type = "Battery\n", .scope = "Device\n", .capacity = "10\n"},
                                 {.type = "Battery\n", .present = "0\n", .capacity = "20\n"},
                                 {.type = "UPS\n", .capacity = "30\n"},
                                 {.type = "Battery\n", .present = "1\n", .capacity = "40\n"},
                                 {.type = "Battery\n", .capacity = "50\n"}});
    ASSERT_TRUE(source.has_value());
    EXPECT_EQ(source->currentCapacity, 40);
    EXPECT_EQ(source->maximumCapacity, 100);
}

TEST(PowerSupplyText, isAbsentWithoutABattery) {
    EXPECT_FALSE(firstOf({}).has_value());
    EXPECT_FALSE(firstOf({{.type = "Mains", .online = "1"}}).has_value());
    EXPECT_FALSE(firstOf({{}}).has_value());
}

TEST(PowerSupplyText, prefersEnergyToChargeToPercent) {
    const PowerSupply all{
        .type = "Battery", .energyNow = "3", .energyFull = "4", .chargeNow = "5", .chargeFull = "6", .capacity = "70"};
    EXPECT_EQ(firstOf({all})->currentCapacity, 3);
    EXPECT_EQ(firstOf({all})->maximumCapacity, 4);
    PowerSupply charge = all;
    charge.energyFull = "";
    EXPECT_EQ(firstOf({charge})->maximumCapacity, 6);
    charge.chargeNow = "half";
    EXPECT_EQ(firstOf({charge})->currentCapacity, 70);
    charge.capacity = {};
    EXPECT_EQ(firstOf({charge})->currentCapacity, std::nullopt);
}

TEST(PowerSupplyText, isOnMainsWhileAnySupplyIsOnline) {
    const PowerSupply battery{.type = "Battery", .status = "Discharging", .capacity = "50"};
    const auto stateWith = [&](std::vector<PowerSupply> others) {
        others.push_back(battery);
        return firstOf(others)->state;
    };
    EXPECT_EQ(stateWith({{.type = "Mains", .online = "1"}}), PowerSourceState::mains);
    EXPECT_EQ(stateWith({{.type = "Mains", .online = "0"}, {.type = "USB", .online = "1"}}), PowerSourceState::mains);
    EXPECT_EQ(stateWith({{.type = "USB", .online = "2"}}), PowerSourceState::mains);
    EXPECT_EQ(stateWith({{.type = "Mains", .online = "0"}}), PowerSourceState::battery);
    EXPECT_EQ(stateWith({{.type = "Mains", .online = ""}}), PowerSourceState::battery);
    EXPECT_EQ(stateWith({{.type = "Battery", .scope = "Device", .online = "1"}}), PowerSourceState::battery);
}

TEST(PowerSupplyText, goesByTheBatteryWhereNoSupplyIsListed) {
    for (const auto& [status, expected] :
         {std::pair{"Discharging\n", PowerSourceState::battery}, std::pair{"Charging\n", PowerSourceState::mains},
          std::pair{"Full\n", PowerSourceState::mains}, std::pair{"Not charging\n", PowerSourceState::mains},
          std::pair{"", PowerSourceState::mains}}) {
        EXPECT_EQ(firstOf({{.type = "Battery", .status = status}})->state, expected) << status;
    }
}

TEST(ThermalText, isTheWorstZoneAgainstItsOwnTripPoints) {
    const auto level = [](std::vector<ThermalZone> zones) { return SensorText::thermalLevel(zones); };
    const std::vector<SensorText::TripPoint> points{
        {"critical\n", "100000\n"}, {"hot\n", "95000\n"}, {"passive\n", "80000\n"}, {"active\n", "60000\n"}};
    EXPECT_EQ(level({{"59999\n", points}}), 0);
    EXPECT_EQ(level({{"60000\n", points}}), 1);
    EXPECT_EQ(level({{"80000\n", points}}), 2);
    EXPECT_EQ(level({{"95000\n", points}}), 3);
    EXPECT_EQ(level({{"120000\n", points}}), 3);
    EXPECT_EQ(level({{"120000\n", {{"critical", "150000"}}}, {"61000\n", points}, {"", points}}), 1);
    EXPECT_EQ(level({{"-5000\n", points}}), 0);
}

TEST(ThermalText, isAbsentWithoutAUsableTripPoint) {
    const auto level = [](std::vector<ThermalZone> zones) { return SensorText::thermalLevel(zones); };
    EXPECT_EQ(level({}), std::nullopt);
    EXPECT_EQ(level({{"50000", {}}}), std::nullopt);
    EXPECT_EQ(level({{"", {{"passive", "80000"}}}}), std::nullopt);
    EXPECT_EQ(level({{"warm", {{"passive", "80000"}}}}), std::nullopt);
    EXPECT_EQ(level({{"50000", {{"passive", "0"}, {"critical", "-274000"}, {"hot", ""}}}}), std::nullopt);
    EXPECT_EQ(level({{"50000", {{"unheard of", "40000"}}}}), std::nullopt);
}

}  // namespace
}  // namespace KestrelCore
