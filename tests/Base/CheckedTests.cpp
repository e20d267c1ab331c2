#include "Base/Checked.hpp"

#include <csignal>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace KestrelCore {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(Checked, computesUpToTheLimits) {
    EXPECT_EQ(Checked::add<std::int64_t>(largest - 1, 1, "here"), largest);
    EXPECT_EQ(Checked::add<std::int64_t>(smallest, largest, "here"), -1);
    EXPECT_EQ(Checked::subtract<std::int64_t>(smallest + 1, 1, "here"), smallest);
    EXPECT_EQ(Checked::multiply<std::int64_t>(largest / 512, 512, "here"), largest / 512 * 512);
    EXPECT_EQ(Checked::add<std::uint32_t>(0xFFFFFFFEU, 1U, "here"), 0xFFFFFFFFU);
}

TEST(CheckedDeathTest, anOverflowStopsTheProcessAndNamesTheSource) {
    EXPECT_DEATH((void)Checked::add<std::int64_t>(largest, 1, "KestrelCore/Sums"),
                 "KestrelCore/Sums: Fatal error: Arith");
    EXPECT_DEATH((void)Checked::subtract<std::int64_t>(smallest, 1, "KestrelCore/Sums"),
                 "KestrelCore/Sums: Fatal error");
    EXPECT_DEATH((void)Checked::subtract<std::uint64_t>(0, 1, "KestrelCore/Sums"), "KestrelCore/Sums: Fatal error");
    EXPECT_DEATH((void)Checked::multiply<std::int64_t>(largest, 512, "KestrelCore/Sums"),
                 "KestrelCore/Sums: Fatal error");
    EXPECT_DEATH((void)Checked::add<std::uint32_t>(0xFFFFFFFFU, 1U, "KestrelCore/Sums"),
                 "KestrelCore/Sums: Fatal error");
}

TEST(FatalErrorDeathTest, printsOneLineAndAborts) {
    EXPECT_EXIT(fatalError("KestrelCore/Place", "the reason"), ::testing::KilledBySignal(SIGABRT),
                "^KestrelCore/Place: Fatal error: the reason\n$");
}

}  // namespace
}  // namespace KestrelCore
