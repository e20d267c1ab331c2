#include "Platform/macOS/Contents/Portable/PlacedRuns.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {
namespace {

using Runs = std::vector<PlacedRun>;

std::string answer(std::uint32_t length, std::uint32_t returned, std::int64_t size) {
    std::string bytes(privateSizeAnswerBytes, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    std::memcpy(bytes.data() + 20, &returned, sizeof returned);
    std::memcpy(bytes.data() + 24, &size, sizeof size);
    return bytes;
}

TEST(PlacedRuns, splitWhatIsOwnFromWhatIsShared) {
    const Runs runs{{.offset = 0, .place = 4096, .bytes = 8192}};
    const auto extents = extentsOf(runs, 8192, 4096);
    ASSERT_TRUE(extents);
    EXPECT_EQ(extents->ownBytes, 4096);
    EXPECT_EQ(extents->sharedBytes, 4096);
    // The system counts the metadata of a file in, so that more may be its own than its blocks.
    EXPECT_EQ(extentsOf(runs, 8192, 12288)->ownBytes, 8192);
    EXPECT_EQ(extentsOf(runs, 8192, 12288)->sharedBytes, 0);
}

TEST(PlacedRuns, haveOneFingerprintForOnePlace) {
    const Runs runs{{.offset = 0, .place = 4096, .bytes = 4096}, {.offset = 8192, .place = 65536, .bytes = 4096}};
    const auto fingerprint = [](const Runs& of) { return extentsOf(of, 8192, 0)->fingerprint; };
    EXPECT_EQ(fingerprint(runs), fingerprint(Runs{runs}));
    EXPECT_NE(fingerprint(runs), 0U);
    for (auto change : {&PlacedRun::offset, &PlacedRun::place, &PlacedRun::bytes}) {
        Runs other = runs;
        other[1].*change += 512;
        EXPECT_NE(fingerprint(runs), fingerprint(other));
    }
    EXPECT_EQ(fingerprint({}), 0U);
}

TEST(PlacedRuns, refuseWhatNoFileIs) {
    EXPECT_FALSE(extentsOf({}, -1, 0));
    EXPECT_FALSE(extentsOf({}, 0, -1));
    EXPECT_FALSE(extentsOf({}, std::int64_t{1} << 51, 0));
    EXPECT_FALSE(extentsOf(Runs{{.offset = 0, .place = 0, .bytes = 0}}, 0, 0));
    EXPECT_FALSE(extentsOf(Runs{{.offset = -1, .place = 0, .bytes = 1}}, 0, 0));
    EXPECT_FALSE(extentsOf(Runs{{.offset = 0, .place = 0, .bytes = 9}, {.offset = 8, .place = 90, .bytes = 1}}, 0, 0));
    EXPECT_FALSE(extentsOf(Runs{{.offset = INT64_MAX, .place = 0, .bytes = 1}}, 0, 0));
}

TEST(PrivateSize, isReadFromAWholeAnswerOnly) {
    const auto good = answer(privateSizeAnswerBytes, privateSizeAttribute, 123'456'789'012);
    EXPECT_EQ(privateSizeOf(good), 123'456'789'012);
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(privateSizeOf(std::string_view{good}.substr(0, size)));
    EXPECT_FALSE(privateSizeOf(answer(24, privateSizeAttribute, 5)));
    EXPECT_FALSE(privateSizeOf(answer(privateSizeAnswerBytes, 0, 5)));
    EXPECT_FALSE(privateSizeOf(answer(privateSizeAnswerBytes, privateSizeAttribute, -5)));
}

}  // namespace
}  // namespace KestrelCore
