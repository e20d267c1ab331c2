#include "Base/ByteBudget.hpp"

#include <gtest/gtest.h>
#include <limits>

namespace KestrelCore {
namespace {

TEST(ByteBudget, takesUpToItsBoundAndNotAByteMore) {
    ByteBudget budget;
    EXPECT_TRUE(budget.take(ByteBudget::most - 10));
    EXPECT_FALSE(budget.take(11));
    EXPECT_TRUE(budget.take(3, 3));
    EXPECT_FALSE(budget.take(1, 2));
    EXPECT_TRUE(budget.take(1));
    EXPECT_FALSE(budget.take(1));
    EXPECT_TRUE(budget.take(0, 1'000'000));
}

TEST(ByteBudget, refusesWhatOverflowsWithoutComputingIt) {
    ByteBudget budget;
    EXPECT_FALSE(budget.take(std::numeric_limits<std::int64_t>::max()));
    EXPECT_FALSE(budget.take(std::int64_t{1} << 50, std::int64_t{1} << 32));
    EXPECT_TRUE(budget.take(ByteBudget::most / 2, 2));
}

}  // namespace
}  // namespace KestrelCore
