#include "KestrelCore/Base/UUID.hpp"

#include <gtest/gtest.h>

#include <set>

namespace KestrelCore {

TEST(UUID, writesThirtySixUpperCaseCharactersAndReadsEitherCase) {
    const auto id = UUID::parse("3f2504e0-4F89-11D3-9A0C-0305E82C3301");
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(id->uuidString(), "3F2504E0-4F89-11D3-9A0C-0305E82C3301");
}

TEST(UUID, refusesEverythingButTheCanonicalForm) {
    for (const char* text : {"", "3F2504E04F8911D39A0C0305E82C3301", "3F2504E0-4F89-11D3-9A0C-0305E82C330",
                             "3F2504E0-4F89-11D3-9A0C-0305E82C33011", "3F2504E0-4F89-11D3-9A0C-0305E82C330G",
                             "{3F2504E0-4F89-11D3-9A0C-0305E82C330}", "3F2504E04-F89-11D3-9A0C-0305E82C3301"}) {
        EXPECT_FALSE(UUID::parse(text).has_value()) << text;
    }
}

TEST(UUID, randomOnesDifferAndAreVersionFour) {
    std::set<UUID> seen;
    for (int i = 0; i < 10'000; ++i) {
        const UUID id = UUID::random();
        EXPECT_EQ(id.bytes[6] >> 4, 4);
        EXPECT_EQ(id.bytes[8] >> 6, 2);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 10'000U);
}

}  // namespace KestrelCore
