#include "Base/Random.hpp"

#include "support/SupervisedCalls.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <sys/syscall.h>

namespace KestrelCore {

TEST(Random, fillsAllBytes) {
    // With 64 bytes a place stays 0 in all of 20 fillings once in 10^46 times.
    std::array<unsigned char, 64> seen{};
    for (int i = 0; i < 20; ++i) {
        std::array<unsigned char, 64> bytes{};
        ASSERT_EQ(fillRandom(bytes.data(), bytes.size()), 0);
        for (std::size_t at = 0; at < bytes.size(); ++at) seen[at] |= bytes[at];
    }
    for (const unsigned char byte : seen) EXPECT_NE(byte, 0);
}

TEST(Random, givesUpWhenItIsInterruptedForEver) {
    int error = 0;
    const auto count = interruptions({SYS_getrandom}, [&error] {
        std::array<unsigned char, 8> bytes{};
        error = fillRandom(bytes.data(), bytes.size());
    });
    if (!count) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(error, EINTR);
    EXPECT_LT(*count, 1'000);
}

}  // namespace KestrelCore
