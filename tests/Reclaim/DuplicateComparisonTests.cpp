#include "KestrelCore/Reclaim/DuplicateComparison.hpp"

#include "support/Duplicates.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace KestrelCore {

namespace {

using testing::duplicatesIn;
using ::testing::HasSubstr;
using testing::scanned;

/// Two files that were found to be equal.
class DuplicateComparisonTest : public ::testing::Test {
protected:
    void SetUp() override {
        const DuplicateReport report = duplicatesIn(folder.path());
        ASSERT_EQ(report.groups.size(), 1U);
        kept = report.groups[0].files.at(0);
        other = report.groups[0].files.at(1);
    }
    [[nodiscard]] std::string objection() const {
        const auto sentence = DuplicateComparison::objection(kept, other);
        return sentence ? sentence->string() : "";
    }

    TemporaryFolder folder;
    std::string bytes = std::string(300'000, 'a') + "end";
    std::string first = folder.makeFile("first", bytes);
    std::string second = folder.makeFile("second", bytes);
    DuplicateFile kept;
    DuplicateFile other;
};

TEST_F(DuplicateComparisonTest, hasNothingAgainstEqualFiles) {
    std::int64_t read = 0;
    EXPECT_FALSE(DuplicateComparison::objection(kept, other, {}, [&](std::int64_t piece) { read += piece; }));
    EXPECT_EQ(read, 300'003);
}

TEST_F(DuplicateComparisonTest, seesAByteThatDiffers) {
    std::fstream{other.path.string(), std::ios::in | std::ios::out} << "b";
    EXPECT_THAT(objection(), HasSubstr("its content is not that of"));
}

TEST_F(DuplicateComparisonTest, wantsTheKeptFileToBeThere) {
    std::filesystem::remove(kept.path.string());
    EXPECT_THAT(objection(), HasSubstr("which was to be kept, is no longer there"));
    // An equal file in its place is not the one that was shown.
    std::filesystem::copy_file(other.path.string(), kept.path.string());
    kept.identity.inode += 1'000'000;
    EXPECT_THAT(objection(), HasSubstr("which was to be kept, is no longer there"));
}

TEST_F(DuplicateComparisonTest, wantsTwoFiles) {
    std::filesystem::remove(other.path.string());
    std::filesystem::create_hard_link(kept.path.string(), other.path.string());
    EXPECT_THAT(objection(), HasSubstr("it changed"));
    other.identity = kept.identity;
    EXPECT_THAT(objection(), HasSubstr("another name of"));
}

TEST_F(DuplicateComparisonTest, followsNoLinkToAnEqualFile) {
    std::filesystem::remove(other.path.string());
    std::filesystem::create_symlink(kept.path.string(), other.path.string());
    EXPECT_THAT(objection(), HasSubstr("it changed"));
}

TEST_F(DuplicateComparisonTest, saysNothingGoodWhenCancelled) {
    const CancellationToken cancellation;
    cancellation.cancel();
    EXPECT_TRUE(DuplicateComparison::objection(kept, other, cancellation));
}

TEST(DuplicateComparison, partsFilesThatWereMadeToHaveOneHash) {
    const TemporaryFolder folder;
    folder.makeFile("a", std::string(100'000, 'a'));
    folder.makeFile("b", std::string(100'000, 'b'));
    const DuplicateReport report =
        duplicatesIn(scanned(folder.path()), {}, [](const ContentDigest&) { return ContentDigest{}; });
    ASSERT_EQ(report.groups.size(), 1U) << "With equal hashes they look equal";
    EXPECT_TRUE(DuplicateComparison::objection(report.groups[0].files.at(0), report.groups[0].files.at(1)));
}

}  // namespace

}  // namespace KestrelCore
