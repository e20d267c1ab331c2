#include "Platform/macOS/Processes/Portable/MachTime.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace KestrelCore {
namespace {

constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();

TEST(MachTime, isCountedInNanosecondsOnIntelAndInMoreOnApplesProcessors) {
    EXPECT_EQ(fromMachTime(24'000'000, {1, 1}).count(), 24'000'000U);
    EXPECT_EQ(fromMachTime(24'000'000, {125, 3}).count(), 1'000'000'000U);
    EXPECT_EQ(fromMachTime(1, {125, 3}).count(), 41U);
}

TEST(MachTime, isToldByTheFrequencyOfItsCounter) {
    const auto ofApplesProcessors = timebaseOfFrequency(24'000'000);
    ASSERT_TRUE(ofApplesProcessors);
    EXPECT_EQ(fromMachTime(24'000'000, *ofApplesProcessors).count(), 1'000'000'000U);
    EXPECT_EQ(fromMachTime(3, *ofApplesProcessors).count(), 125U);
    const auto ofIntels = timebaseOfFrequency(1'000'000'000);
    ASSERT_TRUE(ofIntels);
    EXPECT_EQ(fromMachTime(most, *ofIntels).count(), most);
    EXPECT_FALSE(timebaseOfFrequency(0));
    EXPECT_FALSE(timebaseOfFrequency(std::uint64_t{1} << 32));
}

TEST(MachTime, staysAtTheLargestForWhatDoesNotFit) {
    EXPECT_EQ(fromMachTime(most, {125, 3}).count(), most);
    EXPECT_EQ(fromMachTime(most, {1, 1}).count(), most);
    EXPECT_EQ(fromMachTime(most, {1, 0}).count(), most);
    EXPECT_EQ(fromMachTime(most, {0, 1}).count(), 0U);
}

RC_GTEST_PROP(MachTime, isWhatExactArithmeticSays, (std::uint64_t units, std::uint32_t numerator)) {
    const std::uint32_t denominator = *rc::gen::nonZero<std::uint32_t>();
    __extension__ using Wide = unsigned __int128;
    const Wide exact = Wide{units} * numerator / denominator;
    RC_ASSERT(fromMachTime(units, {numerator, denominator}).count() ==
              static_cast<std::uint64_t>(std::min<Wide>(exact, most)));
}

}  // namespace
}  // namespace KestrelCore
