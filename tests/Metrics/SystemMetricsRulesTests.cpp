#include "Metrics/SystemMetricsRules.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace KestrelCore {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t largestUInt64 = std::numeric_limits<std::uint64_t>::max();

TEST(UsedFraction, isTheUsedPartOfTheTimeBetweenTwoReadings) {
    struct Case {
        ProcessorLoad before;
        ProcessorLoad now;
        double expected;
    };
    const Case cases[] = {
        {{100, 400}, {150, 600}, 0.25},
        {{100, 400}, {300, 600}, 1},
        {{100, 400}, {100, 600}, 0},
        {{100, 400}, {90, 600}, 0},                    // used went backwards
        {{100, 400}, {90, 400}, 0},                    // and no time passed
        {{100, 400}, {200, 400}, 0},                   // no time passed
        {{100, 400}, {200, 399}, 0},                   // the total went backwards
        {{100, 400}, {900, 600}, 1},                   // more used than there was
        {{0, 0}, {largestUInt64, largestUInt64}, 1},   // the whole range in one step
        {{largestUInt64, largestUInt64}, {5, 10}, 0},  // a wrap
    };
    for (const Case& c : cases)
        EXPECT_EQ(usedFraction(c.before, c.now), c.expected) << c.now.used << " " << c.now.total;
    EXPECT_EQ(usedFraction(std::nullopt, {100, 400}), 0);
}

TEST(ProcessorLoad, countsNiceAndSystemTimeAsUsed) {
    const ProcessorLoad load = processorLoad(ProcessorTicks{.user = 1, .system = 20, .idle = 4000, .nice = 300});
    EXPECT_EQ(load.used, 321U);
    EXPECT_EQ(load.total, 4321U);
    EXPECT_EQ(processorLoad(std::nullopt).total, 0U);
}

TEST(NetworkRate, countsATenthOfASecondAtLeast) {
    EXPECT_EQ(bytesPerSecond(1000, 6000, 2s), 2500);
    EXPECT_EQ(bytesPerSecond(0, 1000, 10ms), 10'000);
    EXPECT_EQ(bytesPerSecond(0, 1000, 0s), 10'000);
    EXPECT_EQ(bytesPerSecond(0, 1000, -5s), 10'000);  // a clock that steps back can't make it negative
    EXPECT_EQ(bytesPerSecond(0, 10, 3s), 3);          // truncated
    EXPECT_EQ(bytesPerSecond(7, 7, 1s), 0);
}

TEST(NetworkRate, wrapsWithTheCounter) { EXPECT_EQ(bytesPerSecond(largestUInt64 - 9, 10, 1s), 20); }

TEST(NetworkRateDeathTest, stopsWhereARateDoesNotFit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH((void)bytesPerSecond(10, 9, 1s), "KestrelCore/SystemMetrics");
}

TEST(MemoryPressure, hasItsLabelsAtTheBoundaries) {
    struct Case {
        std::int64_t used;
        std::int64_t total;
        const char* expected;
    };
    const Case cases[] = {
        {0, 0, "Normal"},       {5, 0, "Normal"},           {0, 10'000, "Normal"},      {7199, 10'000, "Normal"},
        {72, 100, "Elevated"},  {7200, 10'000, "Elevated"}, {8799, 10'000, "Elevated"}, {88, 100, "High"},
        {8800, 10'000, "High"}, {10'000, 10'000, "High"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(memoryPressure(c.used, c.total), Text{c.expected}) << c.used << "/" << c.total;
}

TEST(MemoryUse, sumsTheFourKindsOfPagesUpToTheTotal) {
    const MemoryStatistics statistics{
        .activePages = 1, .inactivePages = 2, .wiredPages = 3, .compressorPages = 4, .swapUsedBytes = 77};
    const MemoryUse use = memoryUse(statistics, 4096, 100'000);
    EXPECT_EQ(use.usedBytes, 40'960);
    EXPECT_EQ(use.swapUsedBytes, 77);
    EXPECT_EQ(use.pressure, Text{"Normal"});
    EXPECT_EQ(memoryUse(statistics, 4096, 30'000).usedBytes, 30'000);
    EXPECT_EQ(memoryUse(statistics, 4096, 30'000).pressure, Text{"High"});
}

TEST(MemoryUse, isUnknownWithZerosWhenTheQueryFails) {
    const MemoryUse use = memoryUse(std::nullopt, 4096, 100'000);
    EXPECT_EQ(use.usedBytes, 0);
    EXPECT_EQ(use.swapUsedBytes, 0);
    EXPECT_EQ(use.pressure, Text{"Unknown"});
}

TEST(MemoryUse, isUnknownWhenACountOrTheSumIsAbove32Bits) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
    constexpr std::int64_t total = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(memoryUse(MemoryStatistics{.activePages = largest}, 4096, total).usedBytes, 17'592'186'040'320);
    const MemoryStatistics tooMuch[] = {
        {.activePages = largest + 1},
        {.compressorPages = largestUInt64},
        {.activePages = largest, .inactivePages = 1},
        {.activePages = largestUInt64, .inactivePages = largestUInt64, .wiredPages = 2},
    };
    for (const MemoryStatistics& statistics : tooMuch) {
        EXPECT_EQ(memoryUse(statistics, 4096, total).pressure, Text{"Unknown"});
    }
}

TEST(Battery, isAFractionOfTheFullCharge) {
    EXPECT_EQ(chargeFraction(PowerSource{42, 60, {}}), 0.7);
    EXPECT_EQ(chargeFraction(PowerSource{0, 60, {}}), 0.0);
    EXPECT_EQ(chargeFraction(PowerSource{42, 0, {}}), std::nullopt);
    EXPECT_EQ(chargeFraction(PowerSource{42, -1, {}}), std::nullopt);
    EXPECT_EQ(chargeFraction(PowerSource{{}, 60, {}}), std::nullopt);
    EXPECT_EQ(chargeFraction(PowerSource{42, {}, {}}), std::nullopt);
    EXPECT_EQ(chargeFraction(std::nullopt), std::nullopt);
}

TEST(Battery, chargesExactlyOnMains) {
    EXPECT_EQ(isOnMains(PowerSource{.state = PowerSourceState::mains}), true);
    EXPECT_EQ(isOnMains(PowerSource{.state = PowerSourceState::battery}), false);
    EXPECT_EQ(isOnMains(PowerSource{.state = PowerSourceState::offline}), false);
    EXPECT_EQ(isOnMains(PowerSource{}), false);
    EXPECT_EQ(isOnMains(std::nullopt), std::nullopt);
}

TEST(ThermalLevel, hasANameForEveryLevel) {
    EXPECT_EQ(thermalLevel(0), ThermalLevel::nominal);
    EXPECT_EQ(thermalLevel(1), ThermalLevel::fair);
    EXPECT_EQ(thermalLevel(2), ThermalLevel::serious);
    EXPECT_EQ(thermalLevel(3), ThermalLevel::critical);
    EXPECT_EQ(thermalLevel(4), ThermalLevel::unknown);
    EXPECT_EQ(thermalLevel(-1), ThermalLevel::unknown);
    EXPECT_EQ(thermalLevel(std::nullopt), ThermalLevel::unknown);
    for (const ThermalLevel level : {ThermalLevel::nominal, ThermalLevel::fair, ThermalLevel::serious,
                                     ThermalLevel::critical, ThermalLevel::unknown}) {
        EXPECT_EQ(fromRawValue<ThermalLevel>(rawValue(level)), level);
    }
    EXPECT_EQ(rawValue(ThermalLevel::serious), "serious");
    EXPECT_EQ(fromRawValue<ThermalLevel>("Serious"), std::nullopt);
}

TEST(ProcessorPercent, isOfOneProcessorAndCappedAtAllOfThem) {
    const auto percent = [](std::uint64_t before, std::uint64_t now, std::chrono::nanoseconds elapsed, int processors) {
        return processorPercent(ProcessorTimeReading{before, 5s}, {now, 5s + elapsed}, processors);
    };
    EXPECT_EQ(percent(0, 500'000'000, 1s, 8), 50.0);
    EXPECT_EQ(percent(0, 12'000'000'000, 1s, 8), 800.0);
    EXPECT_EQ(percent(0, 100'000, 200us, 8), 10.0);  // a millisecond at least
    EXPECT_EQ(percent(0, 100'000, -1s, 8), 10.0);
    EXPECT_EQ(percent(700, 700, 1s, 8), 0.0);
    EXPECT_EQ(percent(700, 699, 1s, 8), 0.0);  // backwards
    EXPECT_EQ(percent(0, largestUInt64, 1ms, 8), 800.0);
    EXPECT_EQ(processorPercent(std::nullopt, {700, 5s}, 8), 0.0);
}

TEST(StreamInterval, hasAFloorAndAnEndlessForm) {
    EXPECT_EQ(sleepBetweenSamples(1s), std::chrono::nanoseconds{1s});
    EXPECT_EQ(sleepBetweenSamples(Seconds{0.25}), std::chrono::nanoseconds{250ms});
    EXPECT_EQ(sleepBetweenSamples(Seconds{0}), std::chrono::nanoseconds{50ms});
    EXPECT_EQ(sleepBetweenSamples(Seconds{-3}), std::chrono::nanoseconds{50ms});
    EXPECT_EQ(sleepBetweenSamples(Seconds{std::nan("")}), std::chrono::nanoseconds{50ms});
    EXPECT_EQ(sleepBetweenSamples(Seconds{-HUGE_VAL}), std::chrono::nanoseconds{50ms});
    EXPECT_EQ(sleepBetweenSamples(Seconds{1e-12}), std::chrono::nanoseconds{1});
    EXPECT_EQ(sleepBetweenSamples(Seconds{1e300}), std::chrono::nanoseconds{1'000'000'000s});
    EXPECT_EQ(sleepBetweenSamples(Seconds{HUGE_VAL}), std::nullopt);
}

}  // namespace
}  // namespace KestrelCore
