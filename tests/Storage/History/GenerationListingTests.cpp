#include "KestrelCore/Storage/GenerationReader.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "support/Listings.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;
using testing::linesOf;
using testing::pathsToList;

class GenerationListingTest : public ::testing::Test {
protected:
    /// The snapshot's own listings, which are tested by themselves, are the judge.
    void expectListings(std::int64_t number, const ScanSnapshot& snapshot, std::size_t step = 1) const {
        const GenerationReader reader = history_.open(number);
        const std::vector<Text> paths = pathsToList(snapshot);
        for (std::size_t i = 0; i < paths.size(); i += step) {
            const auto expected = snapshot.listing(paths[i]);
            const auto listing = reader.listing(paths[i]);
            ASSERT_EQ(linesOf(listing), linesOf(expected)) << paths[i].view();
            for (std::size_t k = 0; expected && k < expected->entries.size(); ++k) {
                ASSERT_EQ(listing->entries[k].record, expected->entries[k].record);
            }
        }
    }

    TemporaryFolder folder_;
    SnapshotHistory history_{URL::fromPath(folder_.path() + "/history.sqlite")};
};

}  // namespace

TEST_F(GenerationListingTest, isThatOfTheSnapshotForScansAndTheirDifferences) {
    ScanSnapshot scan = asScanned(sampleSnapshot(600, 1));
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        expectListings(history_.add(scan).number, scan);
        scan = asScanned(changed(scan, seed));
    }
}

TEST_F(GenerationListingTest, isThatOfTheSnapshotForRecordsOfAllShapes) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const ScanSnapshot snapshot = oddSnapshot(seed);
        expectListings(history_.add(snapshot).number, snapshot);
    }
}

TEST_F(GenerationListingTest, isThatOfTheSnapshotForWhatARemovalLeft) {
    const ScanSnapshot scan = asScanned(sampleSnapshot(600, 4));
    std::int64_t number = history_.add(scan).number;
    for (std::size_t i = 7; i < scan.records().size(); i += 111) {
        const auto left = history_.removing(number, {scan.records()[i].path()});
        if (!left) continue;
        number = left->number;
        expectListings(number, history_.load(number));
    }
}

TEST_F(GenerationListingTest, isOneForFoldersWhosePathsAreEqual) {
    const ScanSnapshot snapshot = aSnapshot(
        "/r", {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = 40'960}),
               aRecord({.path = "/r/\u00E9", .kind = FileKind::directory, .aggregate = 28'672}),
               aRecord({.path = "/r/e\u0301/x", .kind = FileKind::directory, .aggregate = 12'288}),
               aRecord({.path = "/r/e\u0301/x/1", .logical = 1}), aRecord({.path = "/r/\u00E9/x/2", .logical = 2}),
               aRecord({.path = "/r/\u00E9/y", .logical = 4})});
    expectListings(history_.add(snapshot).number, snapshot);
}

TEST_F(GenerationListingTest, isThatOfTheSnapshotForMoreFilesThanAreReadAtOnce) {
    const ScanSnapshot scan = asScanned(sampleSnapshot(20'000, 2));
    expectListings(history_.add(scan).number, scan, 4001);
    const ScanSnapshot next = asScanned(changed(scan, 5));
    expectListings(history_.add(next).number, next, 4001);
}

TEST_F(GenerationListingTest, isGivenToAnyThread) {
    const ScanSnapshot scan = asScanned(sampleSnapshot(20'000, 6));
    const GenerationReader reader = history_.open(history_.add(scan).number);
    const Text root = scan.scope().root.path();
    const std::vector<std::string> expected = linesOf(scan.listing(root));
    std::vector<std::string> other;
    std::thread thread{[&] { other = linesOf(reader.listing(root)); }};
    EXPECT_EQ(linesOf(reader.listing(root)), expected);
    thread.join();
    EXPECT_EQ(other, expected);
}

}  // namespace KestrelCore
