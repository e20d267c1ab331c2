#include "Snapshot/DerivedIdentifier.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace KestrelCore {

TEST(DerivedIdentifier, differsForEveryNumberAndSeedAndLooksRandom) {
    std::set<UUID> seen;
    for (const UUID& seed : {UUID{}, UUID::random()}) {
        for (std::uint32_t number = 0; number < 50'000; ++number) {
            const UUID id = derivedIdentifier(seed, number);
            EXPECT_EQ(id.bytes[6] >> 4, 4);
            EXPECT_EQ(id.bytes[8] >> 6, 2);
            seen.insert(id);
        }
    }
    EXPECT_EQ(seen.size(), 100'000U);
}

TEST(DerivedIdentifier, staysWhatItIs) {
    const UUID seed = UUID::parse("00112233-4455-6677-8899-AABBCCDDEEFF").value();
    EXPECT_EQ(derivedIdentifier(seed, 0).uuidString(), "B4C0873B-6B15-46E5-A9D1-C17644680657");
    EXPECT_EQ(derivedIdentifier(seed, std::numeric_limits<std::uint32_t>::max()).uuidString(),
              "04F17A08-199D-4E3D-B7CE-52E3350D0C85");
}

}  // namespace KestrelCore
