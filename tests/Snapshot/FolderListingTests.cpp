#include "KestrelCore/Snapshot/FolderListing.hpp"

#include "support/Listings.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <unordered_set>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;
using testing::linesOf;
using testing::pathsToList;
using testing::plainListing;

void expectPlainListings(const ScanSnapshot& snapshot) {
    for (const Text& path : pathsToList(snapshot)) {
        ASSERT_EQ(linesOf(snapshot.listing(path)), linesOf(plainListing(snapshot, path))) << path.view();
    }
}

}  // namespace

TEST(FolderListing, saysWhatALookAtEveryRecordSays) {
    for (const std::size_t count : {1U, 2U, 40U, 300U}) expectPlainListings(sampleSnapshot(count, count));
    expectPlainListings(asScanned(sampleSnapshot(300, 7)));
    expectPlainListings(aSnapshot("/r", {}));
}

TEST(FolderListing, saysItOfShapesThatNoScanGives) {
    for (std::uint64_t seed = 1; seed <= 8; ++seed) expectPlainListings(oddSnapshot(seed));
}

TEST(FolderListing, saysItOfWhatARemovalLeaves) {
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(300, 3));
    std::unordered_set<Text> paths;
    for (std::size_t i = 5; i < snapshot.records().size(); i += 37) paths.insert(snapshot.records()[i].path());
    expectPlainListings(snapshot.removing(paths));
}

TEST(FolderListing, countsLengthsAsTheSnapshotOfLengthsDoes) {
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(400, 11));
    const ScanSnapshot lengths = snapshot.withLogicalSizes();
    for (const FileRecord& record : lengths.records()) {
        if (!record.isContainer()) continue;
        const auto listing = snapshot.listing(record.path());
        ASSERT_TRUE(listing.has_value());
        EXPECT_EQ(listing->below.apparentBytes + record.allocatedBytes(),
                  record.aggregateAllocatedBytes() + (record.isHardLinkDuplicate() ? record.allocatedBytes() : 0))
            << record.path().view();
    }
}

TEST(FolderListing, isOneForFoldersWhosePathsAreEqual) {
    const Text decomposed{"/r/e\u0301"};
    const Text composed{"/r/\u00E9"};
    const ScanSnapshot snapshot = aSnapshot(
        "/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 40'960}),
               aRecord({.path = composed, .kind = FileKind::directory, .aggregate = 28'672}),
               aRecord({.path = "/r/e\u0301/x", .kind = FileKind::directory, .aggregate = 12'288}),
               aRecord({.path = "/r/e\u0301/x/1", .logical = 1}), aRecord({.path = "/r/\u00E9/x/2", .logical = 2}),
               aRecord({.path = "/r/\u00E9/y", .logical = 4})});
    expectPlainListings(snapshot);
    const auto listing = snapshot.listing(decomposed);
    ASSERT_TRUE(listing.has_value());
    EXPECT_EQ(listing->below, (FolderSums{.items = 4, .allocatedBytes = 24'576, .apparentBytes = 17}));
    EXPECT_EQ(linesOf(snapshot.listing(composed)).size(), 3U);
    EXPECT_EQ(snapshot.listing("/r/e\u0301/x")->entries.size(), 2U);
}

TEST(FolderListing, isOneOfAnEmptyFolderToo) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 8192}),
                         aRecord({.path = "/r/empty", .kind = FileKind::directory})});
    const auto listing = snapshot.listing("/r/empty");
    ASSERT_TRUE(listing.has_value());
    EXPECT_EQ(listing->below, FolderSums{});
    EXPECT_TRUE(listing->entries.empty());
}

TEST(FolderListing, isNoneOfAFileOrOfNothing) {
    const ScanSnapshot snapshot = aSnapshot(
        "/r/s", {aRecord({.path = "/r/s", .isTop = true, .kind = FileKind::directory}), aRecord({.path = "/r/s/a"})});
    for (const char* path : {"/r/s/a", "/r/s/b", "/r", "/", "", "r/s", "/r/s/"}) {
        EXPECT_FALSE(snapshot.listing(path).has_value()) << path;
    }
}

TEST(FolderListing, countsNoLengthBelowZeroAndNoneBeyondTheBound) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const ScanSnapshot snapshot = aSnapshot("/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory}),
                                                   aRecord({.path = "/r/negative", .logical = -5}),
                                                   aRecord({.path = "/r/sparse", .logical = most}),
                                                   aRecord({.path = "/r/sparse too", .logical = most})});
    EXPECT_EQ(snapshot.listing("/r")->below.apparentBytes, std::int64_t{1} << 62);
}

}  // namespace KestrelCore
