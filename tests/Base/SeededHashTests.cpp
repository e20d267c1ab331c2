#include "Base/SeededHash.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unordered_set>

namespace KestrelCore {

TEST(SeededHash, tellsTextsApartThatDifferByLittle) {
    std::unordered_set<std::uint64_t> hashes;
    std::size_t texts = 0;
    for (const std::size_t length : {0U, 1U, 7U, 8U, 9U, 15U, 16U, 17U, 31U, 32U, 40U}) {
        const std::string plain(length, '\0');
        EXPECT_EQ(seededHash(plain), seededHash(std::string_view{plain}));
        hashes.insert(seededHash(plain));
        ++texts;
        for (std::size_t bit = 0; bit < length * 8; ++bit) {
            std::string changed = plain;
            changed[bit / 8] = static_cast<char>(1U << bit % 8);
            hashes.insert(seededHash(changed));
            ++texts;
        }
    }
    EXPECT_EQ(hashes.size(), texts);
}

/// A fixed multiplication and fold can be run backwards, so that any first word has a second one that makes up for it.
TEST(SeededHash, cannotBeRunBackwardsWithKnownNumbers) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;
    const auto mixed = [](std::uint64_t hash, std::uint64_t value) {
        const std::uint64_t product = (hash ^ value) * factor;
        return product ^ (product >> 32);
    };
    std::unordered_set<std::uint64_t> hashes;
    constexpr std::uint64_t count = 10'000;
    for (std::uint64_t first = 0; first < count; ++first) {
        const std::uint64_t second = mixed(factor ^ 16, first);
        char bytes[16];
        std::memcpy(bytes, &first, 8);
        std::memcpy(bytes + 8, &second, 8);
        hashes.insert(seededHash({bytes, sizeof bytes}));
    }
    EXPECT_EQ(hashes.size(), count);
}

TEST(SeededHash, dependsOnTheOrderOfASequence) {
    EXPECT_EQ(seededHash(1, 2), seededHash(1, 2));
    EXPECT_NE(seededHash(1, 2), seededHash(2, 1));
}

}  // namespace KestrelCore
