#include "Platform/macOS/Sensors/Portable/HostBytes.hpp"

#include "Metrics/SystemMetricsRules.hpp"
#include "Platform/macOS/BuiltBytes.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace KestrelCore {
namespace {

using namespace HostBytes;

constexpr std::uint32_t mostPages = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max();

/// HOST_CPU_LOAD_INFO: user, system, idle, nice.
BuiltBytes aLoad(std::uint32_t user) {
    BuiltBytes load{16};
    load.put<std::uint32_t>(0, user).put<std::uint32_t>(4, 20).put<std::uint32_t>(8, 3'000'000'000);
    return load.put<std::uint32_t>(12, 4);
}

/// HOST_VM_INFO64, with every count that is asked for beside ones that are not.
BuiltBytes someStatistics() {
    BuiltBytes statistics{152};
    for (std::size_t offset = 0; offset < 152; offset += 4) statistics.put<std::uint32_t>(offset, 77);
    statistics.put<std::uint32_t>(4, 1000).put<std::uint32_t>(8, 200).put<std::uint32_t>(12, 30);
    return statistics.put<std::uint32_t>(128, 4).put<std::uint32_t>(136, 500);
}

BuiltBytes someSwap(std::uint64_t total, std::uint64_t used) {
    BuiltBytes swap{32};
    return swap.put<std::uint64_t>(0, total).put<std::uint64_t>(8, total - used).put<std::uint64_t>(16, used);
}

TEST(HostBytes, readsTheTicksOfAllProcessors) {
    const auto ticks = processorTicks(aLoad(10).view());
    ASSERT_TRUE(ticks);
    EXPECT_EQ(ticks->user, 10U);
    EXPECT_EQ(ticks->system, 20U);
    EXPECT_EQ(ticks->idle, 3'000'000'000U);
    EXPECT_EQ(ticks->nice, 4U);
}

TEST(HostBytes, readsTheTicksOfEachProcessorAndLeavesOutOneThatIsCutOff) {
    const std::string loads = aLoad(1).string() + aLoad(2).string() + aLoad(3).string();
    for (std::size_t size = 0; size <= loads.size(); ++size) {
        const auto processors = eachProcessorTicks(std::string_view{loads}.substr(0, size));
        ASSERT_EQ(processors.size(), size / 16) << size;
        for (std::size_t index = 0; index < processors.size(); ++index) EXPECT_EQ(processors[index].user, index + 1);
    }
}

TEST(HostBytes, boundsTheNumberOfProcessors) {
    EXPECT_EQ(eachProcessorTicks(std::string(std::size_t{16} * 5000, '\0')).size(), 4096U);
}

TEST(HostBytes, readsWhatTheMemoryHolds) {
    const auto memory = HostBytes::memory(someStatistics().view(), someSwap(2048, 512).view(), 16384);
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->activePages, 1000U);
    EXPECT_EQ(memory->inactivePages, 200U);
    EXPECT_EQ(memory->wiredPages, 30U);
    EXPECT_EQ(memory->compressorPages, 4U);
    EXPECT_EQ(memory->cacheBytes, 500 * 16384);
    EXPECT_EQ(memory->swapUsedBytes, 512);
    EXPECT_EQ(memory->swapTotalBytes, 2048);
    // All four count as used.
    EXPECT_EQ(memoryUse(memory, 16384, 100'000'000).usedBytes, 1234 * 16384);
}

TEST(HostBytes, withoutSwapNoneIsUsedAndTheTotalIsNotKnown) {
    const BuiltBytes swap = someSwap(2048, 512);
    for (std::size_t size = 0; size < 32; ++size) {
        const auto memory = HostBytes::memory(someStatistics().view(), swap.view().substr(0, size), 4096);
        ASSERT_TRUE(memory);
        EXPECT_EQ(memory->swapUsedBytes, 0);
        EXPECT_FALSE(memory->swapTotalBytes);
    }
}

TEST(HostBytes, anAnswerShorterThanItsRecordIsNone) {
    const BuiltBytes load = aLoad(1);
    for (std::size_t size = 0; size < 16; ++size) EXPECT_FALSE(processorTicks(load.view().substr(0, size))) << size;
    const BuiltBytes statistics = someStatistics();
    for (std::size_t size = 0; size < 152; ++size)
        EXPECT_FALSE(HostBytes::memory(statistics.view().substr(0, size), {}, 4096)) << size;
    EXPECT_FALSE(HostBytes::memory(statistics.view(), {}, 0));
    // A newer system may know more.
    EXPECT_TRUE(HostBytes::memory(statistics.string() + "more", {}, 4096));
}

TEST(HostBytes, whatNoMachineHasStaysInRange) {
    BuiltBytes statistics{152};
    statistics.put(4, mostPages).put(8, mostPages).put(136, mostPages);
    const auto memory =
        HostBytes::memory(statistics.view(), someSwap(mostBytes, mostBytes).view(), std::int64_t{1} << 40);
    ASSERT_TRUE(memory);
    EXPECT_GT(*memory->cacheBytes, 0);
    EXPECT_EQ(memory->swapUsedBytes, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(memory->swapTotalBytes, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(memoryUse(memory, 4096, 1 << 30).pressure, "Unknown");
}

}  // namespace
}  // namespace KestrelCore
